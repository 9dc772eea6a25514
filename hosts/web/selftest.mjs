// Calls every function on fixed noise and hashes what it wrote: the calls of tests/host.c, whose hashes are in
// tests/hashes.txt for all systems alike.

const LINE = 4096;

const family = (name) => [
    [name, "dst", "bg", "fg", 486],
    [`${name}_t`, "dst", "bg", "fg", 486, 200],
    [`${name}_m`, "dst", "bg", "fg", 486, "mask"],
    [`${name}_mt`, "dst", "bg", "fg", 486, "mask", 200],
    [`${name}_mlt`, "dst", "bg", "fg", 486, "mask", "lut", 200],
];

const calls = [
    ["qx_pixinit", "dst", "bg", 64],
    ["qx_r210argb", "dst", "bg", 64],
    ["qx_fill", "dst", 0x40302010, 487],
    ["qx_argb2ayuv", "dst", "bg", 487],
    ["qx_ayuv2argb", "dst", "bg", 487],
    ["qx_v210yuv422p10", "dst", "bg", 730],
    ...family("qx_blend"),
    ...family("qx_lblend"),
    ...family("qx_sblend"),
    ["qx_alpha", "dst", "bg", 487],
    ["qx_mask", "dst", "bg", "mask", 487],
    ["qx_lin_pix", "dst", "bg", "fg", 77, 487],
    ["qx_zoom_in2x1d", "dst", "bg", 487],
    ["qx_zoom_in2x2d", "dst", "bg", 38, 11, 40],
    ["qx_scale_1d", "dst", 700, "bg", 487],
    ["qx_scale_horz", "dst", 44, 50, "bg", 61, 9, 64],
    ["qx_zoom_outNx", "dst", 10, 7, "bg", 31, 22],
];

export function noise(bytes, seed) {
    for (let i = 0; i < bytes.length; ++i) {
        seed = (Math.imul(seed, 1664525) + 1013904223) >>> 0;
        bytes[i] = seed >>> 24;
    }
}

// FNV-1a of 64 bits, in two halves: the prime is 2^40 + 0x1B3.
function hash(bytes) {
    let high = 0xcbf29ce4, low = 0x84222325;
    for (const byte of bytes) {
        low = (low ^ byte) >>> 0;
        const product = low * 0x1b3;
        high = (Math.imul(high, 0x1b3) + Math.floor(product / 2 ** 32) + (low << 8)) >>> 0;
        low = product >>> 0;
    }
    return high.toString(16).padStart(8, "0") + low.toString(16).padStart(8, "0");
}

// `hashes` is the text of hashes.txt. Returns the number of names there, and those of the functions whose bytes
// differ, or that one of the two sides does not have.
export function selfTest(qx, hashes) {
    const expected = new Map(hashes.trim().split("\n").map((line) => line.split(" ")));
    const sizes = { bg: LINE + 1, fg: LINE + 1, mask: LINE + 1, lut: 257, dst: 8 * LINE + 1 };
    const kept = {}, at = {};
    for (const [name, size] of Object.entries(sizes)) kept[name] = qx.keep(new Uint8Array(size));
    // Nothing is aligned to more than a byte.
    for (const name in kept) at[name] = kept[name].address + 1;
    ["bg", "fg", "mask", "lut"].forEach((name, i) => noise(kept[name].data, i + 1));
    const failed = new Set([...expected.keys()]);
    for (const [name, ...args] of calls) {
        noise(kept.dst.data, 5);
        qx.exports[name]?.(...args.map((arg) => at[arg] ?? arg));
        if (hash(kept.dst.data) === expected.get(name)) failed.delete(name);
        else failed.add(name);
    }
    for (const name in kept) kept[name].free();
    return { total: expected.size, failed: [...failed] };
}
