// qxpixlib for JavaScript: the kernels in WebAssembly, on typed arrays, ImageData, and pictures that stay in the
// module's memory. The arguments are described in qxpixlib.d.ts, the pixels' arithmetic in the C header.

async function bytesOf(source) {
    if (!(source instanceof URL)) return source;
    if (source.protocol === "file:" && globalThis.process?.versions?.node)
        return (await import("node:fs/promises")).readFile(source);
    const answer = await fetch(source);
    if (!answer.ok) throw new Error(`${source} cannot be fetched: ${answer.status} ${answer.statusText}`);
    return answer.arrayBuffer();  // whatever type the server says it has
}

export async function load(source = new URL("qxpixlib.wasm", import.meta.url)) {
    const bytes = await bytesOf(typeof source === "string" ? new URL(source, globalThis.location?.href) : source);
    if (!WebAssembly.validate(bytes))
        throw new Error("This JavaScript engine cannot run qxpixlib.wasm: it has no WebAssembly SIMD, or the file is broken.");
    return new Qxpixlib((await WebAssembly.instantiate(bytes)).instance.exports);
}

// Bytes in the module's memory, a picture or a line, until free().
class Kept {
    #heap;
    constructor(heap, length, width, height) {
        this.#heap = heap;
        this.length = length;
        if (width !== undefined) Object.assign(this, { width, height });
        this.address = heap.allocate(length);
    }
    // Made anew when asked for: when the memory grows, older views lose it.
    get data() {
        if (this.address === null) throw new Error("These bytes have been freed");
        return new Uint8ClampedArray(this.#heap.memory.buffer, this.address, this.length);
    }
    free() {
        if (this.address !== null) this.#heap.free(this.address);
        this.address = null;
    }
}

// Blocks of the module's memory in the order of their addresses; the first gap that is wide enough is taken.
class Heap {
    #blocks = [];
    #start;
    constructor(memory, start) {
        this.memory = memory;
        this.#start = start;
    }
    allocate(length) {
        let address = this.#start, i = 0;
        for (; i < this.#blocks.length && this.#blocks[i].address - address < length; ++i) address = this.#blocks[i].end;
        const end = (address + length + 15) & ~15, missing = end - this.memory.buffer.byteLength;
        if (address + length > 0x7fff0000) throw new RangeError("The module's memory ends at 2 GB");
        if (missing > 0) this.memory.grow(Math.ceil(missing / 65536));
        this.#blocks.splice(i, 0, { address, end });
        return address;
    }
    free(address) {
        this.#blocks.splice(this.#blocks.findIndex((block) => block.address === address), 1);
    }
}

const whole = (number, name, least, most) => {
    if (!Number.isInteger(number) || number < least || number > most)
        throw new RangeError(`${name} is to be a whole number from ${least} to ${most}, and is ${number}`);
    return number;
};

const isBytes = (value) => value instanceof Uint8Array || value instanceof Uint8ClampedArray;

// What is taken for pixels: bytes, seen as `rows` lines of `width` pixels.
function pixels(value, name) {
    const data = isBytes(value) ? value : value?.data;
    if (!isBytes(data)) throw new TypeError(`${name} is to be a Uint8Array, Uint8ClampedArray, ImageData or kept picture`);
    const { width = data.length / 4, height = 1 } = value;
    if (data.length !== 4 * width * height || !Number.isInteger(width))
        throw new RangeError(`${name} has ${data.length} bytes, which are not ${width} x ${height} pixels of 4`);
    return { value, data, name, width, height };
}
function bytes(value, name, length) {
    const data = value instanceof Kept ? value.data : value;
    if (!isBytes(data)) throw new TypeError(`${name} is to be a Uint8Array, Uint8ClampedArray or kept bytes`);
    if (data.length !== length) throw new RangeError(`${name} has ${data.length} bytes, not ${length}`);
    return { value, data, name };
}
function sameSize(...all) {
    for (const one of all)
        if (one.width !== all[0].width || one.height !== all[0].height)
            throw new RangeError(`${one.name} has ${one.width} x ${one.height} pixels, `
                + `${all[0].name} ${all[0].width} x ${all[0].height}`);
}
function oneLine(...all) {
    for (const one of all)
        if (one.height !== 1) throw new RangeError(`${one.name} is to be one line, and has ${one.height} rows`);
}

class Qxpixlib {
    #heap;
    constructor(exports) {
        this.exports = exports;  // the C functions, on addresses
        this.#heap = new Heap(exports.memory, exports.__heap_base.value);
        Object.freeze(this);
    }

    keep(source) {
        if (isBytes(source)) return this.#kept(source);
        const { data, width, height } = pixels(source, "source");
        return this.#kept(data, width, height);
    }
    #kept(data, width, height) {
        const kept = new Kept(this.#heap, data.length, width, height);
        kept.data.set(data);
        return kept;
    }

    // Calls action(addresses...) with the lines in the module's memory, where some are already; dst comes first, and
    // is copied back. Where not all of it is written (`gaps`) it is copied there first.
    #with(lines, action, gaps = false) {
        const copies = [];
        try {
            const placed = lines.map((line, i) => {
                if (line === undefined || line.value instanceof Kept) return line?.value ?? null;
                const copy = new Kept(this.#heap, line.data.length);
                copies.push(copy);
                if (i > 0 || gaps) copy.data.set(line.data);
                return copy;
            });
            action(...placed.map((one) => one?.address));
            if (!(lines[0].value instanceof Kept)) lines[0].data.set(placed[0].data);
        } finally {
            for (const copy of copies) copy.free();
        }
    }

    #blend(family, dstValue, bgValue, fgValue, { opacity, mask: maskValue, table: tableValue } = {}) {
        const dst = pixels(dstValue, "dst"), bg = pixels(bgValue, "bg"), fg = pixels(fgValue, "fg");
        sameSize(dst, bg, fg);
        const { width, height } = dst;
        const mask = maskValue && bytes(maskValue, "mask", width * height);
        const table = tableValue && bytes(tableValue, "table", 256);
        if (table && !mask) throw new TypeError("A table is nothing without a mask, whose bytes are looked up in it");
        const faded = opacity !== undefined || table;
        if (faded) opacity = whole(opacity ?? 256, "opacity", 0, 256);
        const suffix = (mask ? "m" : "") + (table ? "l" : "") + (faded ? "t" : "");
        const call = this.exports[`qx_${family}${suffix && "_"}${suffix}`];
        this.#with([dst, bg, fg, mask, table], (to, under, over, matte, lut) => {
            for (let y = 0; y < height; ++y) {
                const row = 4 * width * y, rest = [];
                if (mask) rest.push(matte + width * y);
                if (table) rest.push(lut);
                if (faded) rest.push(opacity);
                call(to + row, under + row, over + row, width, ...rest);
            }
        });
    }
    blend(dst, bg, fg, options) {
        this.#blend("blend", dst, bg, fg, options);
    }
    lblend(dst, bg, fg, options) {
        this.#blend("lblend", dst, bg, fg, options);
    }
    sblend(dst, bg, fg, options) {
        this.#blend("sblend", dst, bg, fg, options);
    }

    fill(dstValue, value) {
        const dst = pixels(dstValue, "dst");
        whole(value, "value", 0, 0xffffffff);
        this.#with([dst], (to) => this.exports.qx_fill(to, value, dst.width * dst.height));
    }

    // Every pixel from one of its own: rows make no difference.
    #map(call, dstValue, srcValue) {
        const dst = pixels(dstValue, "dst"), src = pixels(srcValue, "src");
        sameSize(dst, src);
        this.#with([dst, src], (to, from) => call(to, from, dst.width * dst.height));
    }
    argb2ayuv(dst, src) {
        this.#map(this.exports.qx_argb2ayuv, dst, src);
    }
    ayuv2argb(dst, src) {
        this.#map(this.exports.qx_ayuv2argb, dst, src);
    }
    alpha(dst, src) {
        this.#map(this.exports.qx_alpha, dst, src);
    }
    mask(dstValue, srcValue, maskValue) {
        const dst = pixels(dstValue, "dst"), src = pixels(srcValue, "src");
        sameSize(dst, src);
        const count = dst.width * dst.height, mask = bytes(maskValue, "mask", count);
        this.#with([dst, src, mask], (to, from, matte) => this.exports.qx_mask(to, from, matte, count));
    }
    lin_pix(dstValue, src1Value, src2Value, weight) {
        const dst = pixels(dstValue, "dst"), src1 = pixels(src1Value, "src1"), src2 = pixels(src2Value, "src2");
        sameSize(dst, src1, src2);
        whole(weight, "weight", 0, 256);
        this.#with([dst, src1, src2], (to, a, b) => this.exports.qx_lin_pix(to, a, b, weight, dst.width * dst.height));
    }

    v210yuv422p10(dstValue, srcValue) {
        if (!(dstValue instanceof Uint16Array) || dstValue.length % 4 !== 0 || dstValue.length === 0)
            throw new TypeError("dst is to be a Uint16Array of two samples a pixel, for an even number of pixels");
        const count = dstValue.length / 2;
        const dst = { value: dstValue, data: new Uint8Array(dstValue.buffer, dstValue.byteOffset, 4 * count) };
        const src = bytes(srcValue, "src", 16 * Math.ceil(count / 6));
        this.#with([dst, src], (to, from) => this.exports.qx_v210yuv422p10(to, from, count));
    }

    // dst and src may not overlap from here on: an array given twice is refused.
    #resize(dstValue, srcValue) {
        if (dstValue === srcValue) throw new TypeError("dst may not be src");
        return [pixels(dstValue, "dst"), pixels(srcValue, "src")];
    }
    zoom_in2x1d(dstValue, srcValue) {
        const [dst, src] = this.#resize(dstValue, srcValue);
        oneLine(dst, src);
        sameSize(dst, { name: "src, doubled,", width: 2 * src.width, height: 1 });
        this.#with([dst, src], (to, from) => this.exports.qx_zoom_in2x1d(to, from, src.width), true);
    }
    zoom_in2x2d(dstValue, srcValue) {
        const [dst, src] = this.#resize(dstValue, srcValue);
        sameSize(dst, { name: "src, doubled,", width: 2 * src.width, height: 2 * src.height });
        const { width, height } = src;
        if (height === 0) return;
        this.#with([dst, src], (to, from) => this.exports.qx_zoom_in2x2d(to, from, width, height, width), true);
    }
    scale_1d(dstValue, srcValue) {
        const [dst, src] = this.#resize(dstValue, srcValue);
        oneLine(dst, src);
        this.#with([dst, src], (to, from) => this.exports.qx_scale_1d(to, dst.width, from, src.width), true);
    }
    scale_horz(dstValue, srcValue) {
        const [dst, src] = this.#resize(dstValue, srcValue);
        sameSize(dst, { name: "src", width: dst.width, height: src.height });
        const { width, height } = src;
        this.#with(
            [dst, src],
            (to, from) => this.exports.qx_scale_horz(to, dst.width, dst.width, from, width, height, width), true);
    }
    zoom_outNx(dstValue, srcValue) {
        const [dst, src] = this.#resize(dstValue, srcValue);
        const fx = Math.ceil(src.width / dst.width), fy = Math.ceil(src.height / dst.height);
        if (!(dst.width > 0 && dst.height > 0)) throw new RangeError("dst has no pixels");
        if (fx * (dst.width - 1) >= src.width || fy * (dst.height - 1) >= src.height)
            throw new RangeError(
                `${src.width} x ${src.height} pixels at 1/${fx} and 1/${fy} do not fill ${dst.width} x ${dst.height}`);
        this.#with(
            [dst, src],
            (to, from) => this.exports.qx_zoom_outNx(to, dst.width, dst.height, from, src.width, src.height));
    }
}
