// The page. Pixels are kept in the library's memory, in the canvas's order R, G, B, A; a canvas is only ever written to,
// with opaque pixels, since it would multiply others by their alpha.

import { explain, plainLoop } from "./formulas.mjs";
import { pictureOf } from "./png.mjs";
import { load } from "./qxpixlib.mjs";
import { selfTest } from "./selftest.mjs";

const $ = (id) => document.getElementById(id);
const chosen = (name) => document.querySelector(`input[name=${name}]:checked`).value;

function say(text) {
    $("message").textContent = text;
    $("message").hidden = text === "";
}

const notes = {
    blend: "The result is premultiplied: for opaque backgrounds, or where the next step wants colour multiplied by alpha.",
    lblend: "A linear mix of the colours, alphas added: for titles on opaque video.",
    sblend: "The result is straight, divided by its alpha: for layers over each other before a background is known.",
};

let qx;
const state = {
    original: null,  // the background as it came; its alpha may be faded in bg
    foreground: null,
    matteFile: null,
    bg: null, fg: null, result: null, matte: null,  // kept in the library's memory
    table: new Uint8Array(256),
    probe: { x: 0, y: 0 },
    v210: null,
};

// ---- showing ----

// Writes pixels to a canvas, over a chequered ground where they let it through.
function show(canvas, { width, height, data }, premultiplied = false) {
    const image = new ImageData(width, height), out = image.data;
    for (let y = 0, i = 0; y < height; ++y)
        for (let x = 0; x < width; ++x, i += 4) {
            const a = data[i + 3], ground = (((x >> 4) ^ (y >> 4)) & 1 ? 150 : 205) * (255 - a);
            for (let c = 0; c < 3; ++c) out[i + c] = (data[i + c] * (premultiplied ? 255 : a) + ground) / 255;
            out[i + 3] = 255;
        }
    if (canvas.width !== width || canvas.height !== height) Object.assign(canvas, { width, height });
    canvas.getContext("2d").putImageData(image, 0, 0);
    return image;
}

const shown = { before: null, after: null };

function drawStage() {
    const canvas = $("stage"), { width, height } = canvas, context = canvas.getContext("2d");
    const cut = Math.round((width * $("divider").value) / 100), thick = Math.max(2, Math.round(width / 600));
    context.putImageData(shown.after, 0, 0);
    if (cut > 0) context.putImageData(shown.before, 0, 0, 0, 0, cut, height);
    context.fillStyle = "white";
    context.fillRect(cut - thick / 2, 0, thick, height);
    const { x, y } = state.probe, arm = 7 * thick;
    for (const [colour, line] of [["black", 3 * thick], ["white", thick]]) {
        Object.assign(context, { strokeStyle: colour, lineWidth: line });
        context.beginPath();
        for (const side of [-1, 1]) {
            context.moveTo(x + 0.5 + side * 2 * thick, y + 0.5);
            context.lineTo(x + 0.5 + side * arm, y + 0.5);
            context.moveTo(x + 0.5, y + 0.5 + side * 2 * thick);
            context.lineTo(x + 0.5, y + 0.5 + side * arm);
        }
        context.stroke();
    }
}

// ---- pictures, mattes and the table ----

function keep(name, source) {
    state[name]?.free();
    state[name] = qx.keep(source);
}

// The foreground lies in the middle of a picture as large as the background, transparent around it.
function fit(picture, { width, height }) {
    if (picture.width === width && picture.height === height) return picture;
    const data = new Uint8Array(4 * width * height);
    const left = (width - picture.width) >> 1, top = (height - picture.height) >> 1;
    for (let y = Math.max(0, top); y < Math.min(height, top + picture.height); ++y) {
        const from = Math.max(0, -left), columns = Math.min(picture.width - from, width - Math.max(0, left));
        const at = 4 * ((y - top) * picture.width + from);
        data.set(picture.data.subarray(at, at + 4 * columns), 4 * (y * width + Math.max(0, left)));
    }
    return { width, height, data };
}

function layOut() {
    const { original, foreground } = state;
    const bg = { ...original, data: new Uint8Array(original.data) };
    if ($("see-through").checked)
        for (let i = 0; i < bg.data.length / 4; ++i)
            bg.data[4 * i + 3] = (bg.data[4 * i + 3] * Math.min(255, Math.round((320 * (i % bg.width)) / bg.width))) / 255;
    keep("bg", bg);
    keep("fg", fit(foreground, bg));
    keep("result", bg);
    shown.before = show($("stage"), bg);
    state.probe.x = Math.min(state.probe.x, bg.width - 1);
    state.probe.y = Math.min(state.probe.y, bg.height - 1);
    makeMatte();
}

const brightness = (data, i) => (77 * data[4 * i] + 150 * data[4 * i + 1] + 29 * data[4 * i + 2]) >> 8;

function makeMatte() {
    const { width, height } = state.bg, kind = $("matte").value, matte = new Uint8Array(width * height);
    const source = kind === "file" && state.matteFile ? fit(state.matteFile, state.bg).data : state.original.data;
    const value = {
        across: (x) => (255 * x) / (width - 1 || 1),
        down: (x, y) => (255 * y) / (height - 1 || 1),
        round: (x, y) => 400 * (1.05 - Math.hypot((2 * x) / width - 1, (2 * y) / height - 1)),
    }[kind] ?? ((x, y) => brightness(source, y * width + x));
    for (let y = 0, i = 0; y < height; ++y)
        for (let x = 0; x < width; ++x, ++i) matte[i] = Math.max(0, Math.min(255, value(x, y)));
    keep("matte", matte);
    compose();
}

const knobsAt = [0, 64, 128, 192, 255];

function readTable() {
    const knobs = [...$("knobs").querySelectorAll("input")].map((input) => Number(input.value));
    for (let i = 0; i < 256; ++i) {
        const k = Math.max(1, knobsAt.findIndex((at) => at >= i)), from = knobsAt[k - 1], to = knobsAt[k];
        state.table[i] = Math.round(knobs[k - 1] + ((knobs[k] - knobs[k - 1]) * (i - from)) / (to - from));
    }
    $("curve").setAttribute("d", "M" + [...state.table].map((value, i) => `${i} ${255 - value}`).join("L"));
}

// ---- the blend ----

function options() {
    const variant = chosen("variant"), all = {};
    if (variant.includes("t")) all.opacity = Number($("opacity").value);
    if (variant.includes("m")) all.mask = state.matte;
    if (variant.includes("l")) all.table = state.table;
    return all;
}

function compose() {
    const family = chosen("family"), variant = chosen("variant");
    qx[family](state.result, state.bg, state.fg, options());
    shown.after = show($("stage"), state.result, family === "blend");
    $("family-note").textContent = notes[family];
    $("opacity-row").hidden = !variant.includes("t");
    $("matte-row").hidden = !variant.includes("m");
    $("table-row").hidden = !variant.includes("l");
    $("opacity-value").textContent = $("opacity").value;
    drawStage();
    showNumbers();
    clearTimeout(measure.later);
    measure.later = setTimeout(measure, 400);
}

// Medians of a few frames each, in turn.
function measure() {
    const rounds = state.bg.width * state.bg.height > 4e6 ? 3 : 7;
    const family = chosen("family"), given = options(), { width, height } = state.bg;
    const bg = new Uint8Array(state.bg.data), fg = new Uint8Array(state.fg.data), dst = new Uint8Array(bg.length);
    const plain = { ...given, mask: given.mask ? new Uint8Array(given.mask.data) : null };
    const ours = [], loops = [];
    const time = (times, action) => {
        const start = performance.now();
        action();
        times.push(performance.now() - start);
    };
    for (let round = 0; round < rounds; ++round) {
        time(ours, () => { for (let k = 0; k < 4; ++k) qx[family](state.result, state.bg, state.fg, given); });
        time(loops, () => { for (let y = 0; y < height; ++y) plainLoop(family, dst, bg, fg, plain, y * width, width); });
    }
    const median = (times) => times.sort((a, b) => a - b)[rounds >> 1];
    const [mine, loop] = [median(ours) / 4, median(loops)];
    const strong = document.createElement("strong");
    strong.textContent = `${mine.toFixed(2)} ms a frame`;
    $("speed").replaceChildren(strong, ` of ${width} × ${height}; a plain JavaScript loop takes ${loop.toFixed(1)} ms`
        + (mine > 0 ? `, ${(loop / mine).toFixed(1)} times as long.` : "."));
}

// ---- the numbers under the pointer ----

function showNumbers() {
    const { x, y } = state.probe, { width } = state.bg, family = chosen("family"), given = options();
    const i = y * width + x, over = width % 4 === 2 && x === width - 2 ? i + 1 : i;
    const four = (picture, at) => [...picture.data.subarray(4 * at, 4 * at + 4)];
    const bg = four(state.bg, i), fg = four(state.fg, over), library = four(state.result, i);
    const m = given.mask ? given.mask.data[i] : null;
    const { lines, result } = explain(family, bg, fg, { opacity: given.opacity ?? null, m, table: given.table });
    const colours = (name, px) => {
        const part = document.createElement("span"), swatch = document.createElement("span");
        swatch.className = "swatch";
        swatch.style.background = `rgba(${px.slice(0, 3)}, ${px[3] / 255})`;
        part.append(swatch, `${name} ${px.join(", ")}`);
        return part;
    };
    const place = document.createElement("span");
    place.textContent = `x ${x}, y ${y}${m === null ? "" : `, matte ${m}`}`;
    $("pixel").replaceChildren(place, colours("background", bg), colours("foreground", fg), colours("result", library));
    if (over !== i) $("pixel").append("The last but one pixel of a row that leaves 2 by 4 takes the last one's foreground.");
    $("steps").replaceChildren(...lines.map((line) => {
        const row = document.createElement("tr");
        for (const text of line) row.insertCell().textContent = text;
        return row;
    }));
    const same = result.join() === library.join();
    $("verdict").className = same ? "verdict-good" : "verdict-bad";
    const name = `qx_${family}${chosen("variant") && "_"}${chosen("variant")}`;
    $("verdict").textContent = same ? `${name} gives the same: ${library.join(", ")} (R, G, B, A).`
        : `The steps give ${result.join(", ")}, the library ${library.join(", ")}: one of the two is wrong.`;
}

function probeAt(x, y) {
    const { width, height } = state.bg;
    const within = (at, size) => Math.max(0, Math.min(size - 1, Math.floor(at)));
    state.probe = { x: within(x, width), y: within(y, height) };
    drawStage();
    showNumbers();
}

// ---- the other kernels ----

const zeros = (width, height) => ({ width, height, data: new Uint8Array(4 * width * height) });

// The conversions want B, G, R, A.
function swapped({ width, height, data }) {
    const out = new Uint8Array(data);
    for (let i = 0; i < out.length; i += 4) [out[i], out[i + 2]] = [out[i + 2], out[i]];
    return { width, height, data: out };
}

// 10-bit samples, n Y, n / 2 Cb and n / 2 Cr a row, seen as a picture through qx_ayuv2argb.
function viewOf(samples, width, height) {
    const yuv = zeros(width, height), rgb = zeros(width, height), half = width / 2;
    for (let row = 0; row < height; ++row)
        for (let x = 0; x < width; ++x) {
            const at = 2 * width * row, i = 4 * (width * row + x), c = at + width + (x >> 1);
            yuv.data.set([samples[c] >> 2, samples[at + x] >> 2, samples[c + half] >> 2, 255], i);
        }
    qx.ayuv2argb(rgb, yuv);
    return swapped(rgb);
}

// Packs a picture as v210, where no file is given: 8 bits of each sample in the upper ones of 10.
function packed(picture) {
    const width = picture.width & ~1, { height } = picture, blocks = Math.ceil(width / 6);
    if (width === 0) throw new Error("v210 has an even number of pixels in a row: the background is too narrow.");
    const yuv = zeros(picture.width, height), out = new DataView(new ArrayBuffer(16 * blocks * height));
    qx.argb2ayuv(yuv, swapped(picture));
    const channels = [0, 1, 2, 1];  // Cb Y Cr Y
    for (let y = 0; y < height; ++y)
        for (let s = 0; s < 12 * blocks; ++s) {
            const x = Math.min(width - 1, (s >> 2) * 2 + (s % 4 === 3)), at = 16 * blocks * y + 4 * Math.floor(s / 3);
            const sample = yuv.data[4 * (y * picture.width + x) + channels[s % 4]] << 2;
            out.setUint32(at, out.getUint32(at, true) | (sample << (10 * (s % 3))), true);
        }
    return { width, height, data: new Uint8Array(out.buffer), name: "the background, packed" };
}

// A part of the background around the middle.
function part(width, height) {
    const { bg } = state, w = Math.min(width, bg.width), h = Math.min(height, bg.height), out = zeros(w, h);
    const left = (bg.width - w) >> 1, top = (bg.height - h) >> 1;
    for (let y = 0; y < h; ++y) {
        const at = 4 * ((top + y) * bg.width + left);
        out.data.set(bg.data.subarray(at, at + 4 * w), 4 * w * y);
    }
    return out;
}

// Each: its name, the slider's [name, least, most, value] if it has one, and what makes [picture, sentence].
const kernels = {
    "argb2ayuv and back": [["error ×", 1, 64, 24], (gain) => {
        const { bg } = state, yuv = zeros(bg.width, bg.height), back = zeros(bg.width, bg.height), there = swapped(bg);
        qx.argb2ayuv(yuv, there);
        qx.ayuv2argb(back, yuv);
        let most = 0, sum = 0;
        const count = 3 * bg.width * bg.height;
        back.data.forEach((value, i) => {
            if (i % 4 === 3) return void (back.data[i] = 255);
            const error = Math.abs(value - there.data[i]);
            most = Math.max(most, error);
            sum += error;
            back.data[i] = Math.min(255, error * gain);
        });
        return [swapped(back), `What qx_argb2ayuv and qx_ayuv2argb lose, made visible: up to ${most} of 255, `
            + `${(sum / count).toFixed(2)} on average.`];
    }],
    v210yuv422p10: [null, () => {
        const { width, height, data, name } = state.v210 ?? packed(state.bg), stride = 16 * Math.ceil(width / 6);
        const samples = new Uint16Array(2 * width * height);
        for (let y = 0; y < height; ++y)
            qx.v210yuv422p10(samples.subarray(2 * width * y, 2 * width * (y + 1)),
                             data.subarray(stride * y, stride * (y + 1)));
        return [viewOf(samples, width, height), `${name}: ${width} × ${height} pixels of v210, unpacked to planes of 10 `
            + `bits and shown by qx_ayuv2argb. First Y samples: ${samples.subarray(0, 6).join(", ")}.`];
    }],
    zoom_in2x2d: [["times", 1, 3, 2], (times) => {
        const size = 1 << times, { bg } = state;
        let picture = part(Math.max(4, (bg.width >> times) & ~3), Math.max(1, bg.height >> times));
        for (let k = 0; k < times; ++k) {
            const larger = zeros(2 * picture.width, 2 * picture.height);
            qx.zoom_in2x2d(larger, picture);
            picture = larger;
        }
        return [picture, `The middle at ${size} times its size, doubled ${times === 1 ? "once" : `${times} times`}.`];
    }],
    scale_horz: [["width", 4, 2560, 480], (width) => {
        const { bg } = state, out = zeros(width, bg.height);
        if (bg.width < 2) throw new Error("qx_scale_horz mixes two pixels: the background is too narrow.");
        qx.scale_horz(out, bg);
        const left = width % 4;
        return [out, `Every row from ${bg.width} pixels to ${width}, by two taps.`
            + (left ? ` The last ${left} are not written: outputs come in fours.` : "")];
    }],
    zoom_outNx: [["factor", 2, 16, 4], (factor) => {
        const { bg } = state, size = (of) => Math.max(1, Math.floor(of / factor));
        const out = zeros(size(bg.width), size(bg.height));
        const source = part(out.width * factor, out.height * factor);
        qx.zoom_outNx(out, source);
        return [out, `Every ${factor}th pixel of every ${factor}th row, without a filter: ${out.width} × ${out.height}.`];
    }],
    lin_pix: [["weight", 0, 256, 128], (weight) => {
        const { bg, fg } = state, out = zeros(bg.width, bg.height);
        qx.lin_pix(out, fg, bg, weight);
        return [out, `${weight} / 256 of the foreground and the rest of the background, alpha included.`];
    }],
    mask: [null, () => {
        const { bg, matte } = state, out = zeros(bg.width, bg.height);
        qx.mask(out, bg, matte);
        return [out, "The background's alpha scaled by the matte chosen above."];
    }],
    alpha: [null, () => {
        const { fg } = state, out = zeros(fg.width, fg.height);
        qx.alpha(out, fg);
        for (let i = 3; i < out.data.length; i += 4) out.data[i] = 255;  // to be seen
        return [out, "The foreground's alpha as a grey picture."];
    }],
    fill: [["red", 0, 255, 160], (red) => {
        const out = zeros(64, 36);
        qx.fill(out, (0x80305000 + red) >>> 0);
        return [out, `One value for every pixel: red ${red}, green 80, blue 48, alpha 128.`];
    }],
};

function chooseKernel() {
    const [amount] = kernels[$("kernel").value], slider = $("amount");
    $("amount-row").hidden = !amount;
    $("v210-row").hidden = $("kernel").value !== "v210yuv422p10";
    if (amount) {
        const [name, min, max, value] = amount;
        $("amount-name").textContent = name;
        Object.assign(slider, { min, max, value });
    }
    runKernel();
}

function runKernel() {
    $("amount-value").textContent = $("amount").value;
    try {
        const [picture, sentence] = kernels[$("kernel").value][1](Number($("amount").value));
        show($("other"), picture);
        $("other-note").textContent = sentence;
    } catch (error) {
        $("other-note").textContent = error.message;
    }
}

// ---- what people do ----

const guarded = (action) => async (...args) => {
    say("");
    try {
        await action(...args);
    } catch (error) {
        say(error.message);
    }
};

const take = guarded(async (where, file) => {
    if (!file) return;
    const picture = await pictureOf(file);
    state[where] = picture;
    if (where === "matteFile") {
        $("matte").value = "file";
        makeMatte();
    } else layOut();
    runKernel();
    say(picture.note);
});

const takeV210 = guarded(async () => {
    const file = $("v210-file").files[0], width = Number($("v210-width").value), stride = 16 * Math.ceil(width / 6);
    if (!file) return;
    if (!(width >= 2 && width <= 8192 && width % 2 === 0))
        throw new Error("The width of v210 is an even number from 2 to 8192.");
    const height = Math.floor(file.size / stride);
    if (height === 0 || file.size % stride !== 0)
        throw new Error(`${file.name} has ${file.size} bytes, which is no whole number of rows of ${stride} bytes, `
            + `as ${width} pixels of v210 take.`);
    if (width * height > 1 << 24)
        throw new Error(`${file.name} would have ${width} × ${height} pixels; this page takes up to 16 million.`);
    state.v210 = { width, height, data: new Uint8Array(await file.arrayBuffer()), name: file.name };
    runKernel();
});

function listen() {
    const stage = $("stage");
    const at = (event) => {
        const box = stage.getBoundingClientRect(), scale = Math.min(box.width / stage.width, box.height / stage.height);
        return [(event.clientX - box.left - (box.width - stage.width * scale) / 2) / scale,
                (event.clientY - box.top - (box.height - stage.height * scale) / 2) / scale];
    };
    stage.addEventListener("pointermove", (event) => {
        const [x, y] = at(event);
        if (event.buttons) {
            $("divider").value = (100 * x) / stage.width;
            drawStage();
        } else probeAt(x, y);
    });
    stage.addEventListener("pointerdown", (event) => {
        stage.setPointerCapture(event.pointerId);
        probeAt(...at(event));
    });
    stage.addEventListener("keydown", (event) => {
        const ways = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
        const [dx, dy] = ways[event.key] ?? [0, 0];
        if (!dx && !dy) return;
        event.preventDefault();
        const by = event.shiftKey ? 10 : 1;
        probeAt(state.probe.x + dx * by, state.probe.y + dy * by);
    });
    for (const kind of ["dragover", "drop", "dragleave"])
        document.addEventListener(kind, (event) => {
            event.preventDefault();
            stage.classList.toggle("dropping", kind === "dragover");
        });
    document.addEventListener("drop", async (event) => {
        const [first, second] = event.dataTransfer.files;  // one is a foreground, two are both
        if (second) await take("original", first);
        await take("foreground", second ?? first);
    });
    $("divider").addEventListener("input", drawStage);
    $("controls").addEventListener("input", (event) => {
        const { id, files } = event.target;
        if (id === "bg-file") take("original", files[0]);
        else if (id === "fg-file") take("foreground", files[0]);
        else if (id === "see-through") layOut();
        else if (id === "matte-file") take("matteFile", files[0]);
        else if (id !== "matte") {
            if (event.target.closest("#knobs")) readTable();
            compose();
        }
        if (id === "see-through") runKernel();
    });
    $("matte").addEventListener("change", () => {
        makeMatte();
        runKernel();
        say($("matte").value === "file" && !state.matteFile ? "Choose the matte's picture under Pictures." : "");
    });
    $("kernel").addEventListener("change", chooseKernel);
    $("amount").addEventListener("input", runKernel);
    for (const id of ["v210-file", "v210-width"]) $(id).addEventListener("change", takeV210);
    for (const form of document.forms) form.addEventListener("submit", (event) => event.preventDefault());
}

async function start() {
    const fetched = async (name) => {
        const answer = await fetch(new URL(name, import.meta.url));
        if (!answer.ok) throw new Error(`${name} is missing beside the page: ${answer.status}.`);
        return answer;
    };
    qx = await load();
    const { total, failed } = selfTest(qx, await (await fetched("hashes.txt")).text());
    $("selftest").className = failed.length ? "bad" : "good";
    $("selftest").textContent = failed.length ? `Self-test: other bytes from ${failed.join(", ")}`
        : `${total} of ${total}: the same bytes as on Linux and Windows`;
    const ours = async (name) => pictureOf(new File([await (await fetched(name)).blob()], name));
    [state.original, state.foreground] = await Promise.all([ours("background.png"), ours("title.png")]);
    state.probe = { x: state.original.width >> 1, y: Math.round(state.original.height * 0.42) };
    $("knobs").replaceChildren(...knobsAt.map((at) => {
        const label = document.createElement("label"), knob = document.createElement("input");
        Object.assign(knob, { type: "range", min: 0, max: 255, value: at });
        label.append(`${at}`, knob);
        return label;
    }));
    for (const name in kernels) $("kernel").append(new Option(name));
    readTable();
    layOut();
    chooseKernel();
    listen();
    document.querySelector("main").hidden = false;
}

start().catch((error) => say(`The page cannot start: ${error.message}`));
