/** Pixel kernels for video and graphics, in WebAssembly.
 *
 * A pixel is four bytes. The library calls them B, G, R, A (as numbers 0xAARRGGBB) or, in AYUV, U, Y, V, A. A canvas has
 * R, G, B, A: the blends, which treat the three colours alike, do not mind; argb2ayuv and ayuv2argb do, and give wrong
 * colours unless bytes 0 and 2 are exchanged first. A canvas also multiplies by alpha what it stores: what getImageData
 * gives back is not what putImageData was given, where alpha is below 255.
 */

/** Bytes: a Uint8Array or a Uint8ClampedArray is one line of pixels. */
export type Bytes = Uint8Array | Uint8ClampedArray;

/** ImageData, or anything of the same form: the kernels go through it row by row. */
export interface Picture {
    readonly width: number;
    readonly height: number;
    readonly data: Bytes;
}

/** Bytes that stay in the module's memory, so that calls do not copy them. They are there until free(). */
export interface KeptBytes {
    readonly length: number;
    /** Where they lie, for `exports`; null once they are freed. */
    readonly address: number | null;
    /** A view of the bytes. Ask for it anew after each call that keeps or copies something: the memory may have grown,
     * and an older view is then empty. */
    readonly data: Uint8ClampedArray;
    free(): void;
}
export interface KeptPicture extends KeptBytes {
    readonly width: number;
    readonly height: number;
}

export type Pixels = Bytes | Picture | KeptBytes | KeptPicture;

export interface BlendOptions {
    /** 0 to 256, in 1/256: fades all of the foreground. */
    opacity?: number;
    /** One byte a pixel: fades each on its own. */
    mask?: Bytes | KeptBytes;
    /** 256 bytes that the mask's are looked up in. */
    table?: Bytes | KeptBytes;
}

/** Every function throws a TypeError or a RangeError, and writes nothing, where sizes do not fit. dst may be one of
 * the inputs, but parts of one buffer that overlap are copied apart. */
export interface Qxpixlib {
    /** The exported C functions, on addresses in `exports.memory`; they check nothing. */
    readonly exports: WebAssembly.Exports;
    /** Copies a picture, or bytes of any use, to the module's memory. */
    keep(source: Picture): KeptPicture;
    keep(source: Bytes): KeptBytes;

    /** fg over bg, the result premultiplied by its alpha. */
    blend(dst: Pixels, bg: Pixels, fg: Pixels, options?: BlendOptions): void;
    /** The linear mix by the weight of fg, alphas added. */
    lblend(dst: Pixels, bg: Pixels, fg: Pixels, options?: BlendOptions): void;
    /** fg over bg, the result straight. In all three, where the width of a row (the length of a line) leaves 2 when
     * divided by 4, the last but one pixel takes the last one's foreground. */
    sblend(dst: Pixels, bg: Pixels, fg: Pixels, options?: BlendOptions): void;

    /** One value, 0xAARRGGBB, for all pixels. */
    fill(dst: Pixels, value: number): void;
    /** B, G, R, A to U, Y, V, A by BT.601 in studio range, and back. */
    argb2ayuv(dst: Pixels, src: Pixels): void;
    ayuv2argb(dst: Pixels, src: Pixels): void;
    /** v210 to planes of 10-bit samples: n Y, n / 2 Cb, n / 2 Cr, for 2 n samples in dst and 16 * ceil(n / 6) bytes in
     * src. */
    v210yuv422p10(dst: Uint16Array, src: Bytes | KeptBytes): void;
    /** Alpha as a grey picture. */
    alpha(dst: Pixels, src: Pixels): void;
    /** Alpha scaled by a mask of one byte a pixel. */
    mask(dst: Pixels, src: Pixels, mask: Bytes | KeptBytes): void;
    /** The mix of two: weight / 256 of src1 and the rest of src2. */
    lin_pix(dst: Pixels, src1: Pixels, src2: Pixels, weight: number): void;
    /** A line, or a picture, at twice its size. Of a width that is no multiple of 4 the last pixels are left out. */
    zoom_in2x1d(dst: Pixels, src: Pixels): void;
    zoom_in2x2d(dst: Pixels, src: Pixels): void;
    /** A line, or each row of a picture, at the width of dst. Of a width of dst that is no multiple of 4 the last
     * pixels are not written. */
    scale_1d(dst: Pixels, src: Pixels): void;
    scale_horz(dst: Pixels, src: Pixels): void;
    /** Every so many'th pixel of every so many'th row: as many as dst has room for, by whole factors. */
    zoom_outNx(dst: Pixels, src: Pixels): void;
}

/** Loads the module: from qxpixlib.wasm beside this file, another URL, or its bytes. */
export function load(source?: URL | string | BufferSource): Promise<Qxpixlib>;
