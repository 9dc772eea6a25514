// The blends once more, for people: as the plain loop that one would write, and as the steps for one pixel. The tests
// hold both against the library. Bytes 0, 1 and 2 of a pixel are colours, byte 3 is alpha.

// The weight of a foreground alpha; without a mask it is faded alone.
const fade = (m, opacity) => (m * opacity) >> 8;

// What one colour of a pixel becomes, for the weight w; `rest` is the background's alpha × (256 - w), `share` what
// sblend divides out.
const blendColour = (bg, fg, w, rest) => ((fg * w) >> 8) + ((bg * rest) >>> 16);
const lblendColour = (bg, fg, w) => ((bg * (256 - w)) >> 8) + ((fg * w) >> 8);
const sblendColour = (bg, fg, share) => bg + ((share * (fg - bg)) >> 8);

// opacity is 256 for none, mask and table are null for none. count pixels from pixel `from` on.
export function plainLoop(family, dst, bg, fg, { opacity = 256, mask = null, table = null }, from, count) {
    const last = from + count - 1;
    for (let i = from; i <= last; ++i) {
        const b = 4 * i, f = 4 * (count % 4 === 2 && i === last - 1 ? last : i);  // of two left over, the last one's
        const m = mask === null ? 256 : table === null ? mask[i] : table[mask[i]];
        const w = (fg[f + 3] * fade(m, opacity)) >> 8, alpha = bg[b + 3];
        if (family === "blend") {
            const rest = alpha * (256 - w);
            dst[b] = blendColour(bg[b], fg[f], w, rest);
            dst[b + 1] = blendColour(bg[b + 1], fg[f + 1], w, rest);
            dst[b + 2] = blendColour(bg[b + 2], fg[f + 2], w, rest);
            dst[b + 3] = blendColour(255, 255, w, rest);
        } else if (family === "lblend") {
            const added = (fg[f + 3] * w) >> 8;
            dst[b] = lblendColour(bg[b], fg[f], w);
            dst[b + 1] = lblendColour(bg[b + 1], fg[f + 1], w);
            dst[b + 2] = lblendColour(bg[b + 2], fg[f + 2], w);
            dst[b + 3] = Math.min(255, alpha + added);
        } else {
            const sum = w + ((alpha * (255 - w)) >> 8);
            const share = sum === 0 ? 0 : (((65535 / sum) | 0) * w) >> 8;
            dst[b] = sblendColour(bg[b], fg[f], share);
            dst[b + 1] = sblendColour(bg[b + 1], fg[f + 1], share);
            dst[b + 2] = sblendColour(bg[b + 2], fg[f + 2], share);
            dst[b + 3] = sum;
        }
    }
}

// The steps for one pixel, as lines of [what, arithmetic, number], and the four bytes they lead to. bg and fg are
// four bytes, m is the mask's byte or null.
export function explain(family, bg, fg, { opacity, m, table }) {
    const lines = [];
    const step = (what, arithmetic, exact) => {
        const number = Math.floor(exact);
        const cut = number === exact ? "" : `${exact.toFixed(3)}, floored: `;
        lines.push([what, `${arithmetic} = ${cut}`, `${number}`]);
        return number;
    };
    let w = fg[3], factor = null;
    if (m !== null) {
        factor = m;
        if (table) factor = step("table", `table[${m}]`, table[m]);
        if (opacity !== null) factor = step("mask, faded", `${factor} × ${opacity} / 256`, (factor * opacity) / 256);
    } else if (opacity !== null) {
        factor = opacity;
    }
    if (factor === null) step("weight", "foreground alpha", w);
    else w = step("weight", `${w} × ${factor} / 256`, (w * factor) / 256);
    const rest = 256 - w, alpha = bg[3], result = [];
    const two = (what, a, aExact, b, bExact) => {
        const first = step(`${what}, first term`, a, aExact), second = step(`${what}, second term`, b, bExact);
        return step(what, `${first} + ${second}`, first + second);
    };
    const names = ["red", "green", "blue", "alpha"];
    if (family === "blend") {
        for (let c = 0; c < 4; ++c) {
            const [over, under] = c === 3 ? [255, 255] : [fg[c], bg[c]];
            result.push(two(names[c], `${over} × ${w} / 256`, (over * w) / 256,
                            `${under} × ${alpha} × ${rest} / 65536`, (under * alpha * rest) / 65536));
        }
    } else if (family === "lblend") {
        for (let c = 0; c < 3; ++c)
            result.push(two(names[c], `${bg[c]} × ${rest} / 256`, (bg[c] * rest) / 256,
                            `${fg[c]} × ${w} / 256`, (fg[c] * w) / 256));
        const added = step("alpha, added", `${fg[3]} × ${w} / 256`, (fg[3] * w) / 256);
        result.push(step("alpha", `min(255, ${alpha} + ${added})`, Math.min(255, alpha + added)));
    } else {
        const kept = step("alpha, kept", `${alpha} × (255 − ${w}) / 256`, (alpha * (255 - w)) / 256);
        const sum = step("alpha", `${w} + ${kept}`, w + kept);
        const quotient = sum === 0 ? 0 : step("reciprocal", `65535 / ${sum}`, 65535 / sum);
        const share = step("share", `${quotient} × ${w} / 256`, (quotient * w) / 256);
        for (let c = 0; c < 3; ++c) {
            const exact = (share * (fg[c] - bg[c])) / 256;
            const way = step(`${names[c]}, the way`, `${share} × (${fg[c]} − ${bg[c]}) / 256`, exact);
            result.push(step(names[c], `${bg[c]} ${way < 0 ? "−" : "+"} ${Math.abs(way)}`, bg[c] + way));
        }
        result.push(sum);
    }
    return { lines, result };
}
