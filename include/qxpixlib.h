/* qxpixlib: pixel kernels for programs that work on video and graphics one scan line at a time.
 *
 * Pixels. A line is an array of 32-bit pixels without gaps; a row of a picture is a line. All channels are
 * unsigned 8-bit numbers.
 *
 *     type     byte 0   byte 1   byte 2   byte 3   as a number (little-endian)
 *     Argb32   B        G        R        A        0xAARRGGBB   opaque red is 0xFFFF0000
 *     Ayuv32   U (Cb)   Y        V (Cr)   A        0xAAVVYYUU   opaque black is 0xFF801080
 *
 * Alpha is 0 for transparent to 255 for opaque. AYUV is ITU-R BT.601 in studio range: Y 16 to 235, U and V
 * 16 to 240 around 128. The kernels that treat bytes 0 to 2 alike (blends, fill) take either format, or any
 * other order of three colours as long as alpha is byte 3.
 *
 * What holds for every function, unless its own comment says otherwise:
 *
 *   Memory.     A function reads the pixels of its inputs and writes the pixels of dst, `count` of each, and
 *               touches no other byte: lines need no padding. It keeps nothing, neither pointer nor pixel.
 *   Alignment.  None is needed: any byte address will do for any line, and any stack (but on 64-bit Windows
 *               one that is aligned to 16 bytes, as they all are there).
 *   Aliasing.   dst may be the very same line as an input. Lines that overlap in any other way give
 *               unspecified pixels.
 *   Counts.     Signed. A count of 0 or below reads nothing and writes nothing.
 *   Pointers.   Not checked: each must lead to a line of count pixels, unless count is 0 or below.
 *   Threads.    Any function may be called from any thread at any time; calls that write different lines may
 *               run at once. There is no state, no lock, no initialisation and no error.
 *   Rounding.   Integer arithmetic, the same bytes on every processor. A division by 256 or 65536 drops the
 *               fraction, each on its own, before any sum: the results lean low by a step on purpose.
 *   Floats.     The caller's floating-point modes (rounding, flush to zero, unmasked exceptions) change
 *               nothing and are left as they were; but the qx_sblend family may raise the inexact flag, so
 *               that exception has to stay masked, as it is by default.
 */
#ifndef QXPIXLIB_H
#define QXPIXLIB_H

#include <stdint.h>

/* The version that this header describes; CMake, and the archives that it makes, take it from here. */
#define QXPIXLIB_VERSION_MAJOR 1
#define QXPIXLIB_VERSION_MINOR 0
#define QXPIXLIB_VERSION_PATCH 0

/* QX_API: a name of the shared library (on Windows its module definition file exports it, and programs import
 * it); QXPIXLIB_STATIC, which the CMake package and the pkg-config file define where it is so, says that the
 * library is linked in. QX_CALL: the calling convention. */
#if defined(_WIN32)
#define QX_CALL __cdecl
#if defined(QXPIXLIB_BUILD) || defined(QXPIXLIB_STATIC)
#define QX_API
#else
#define QX_API __declspec(dllimport)
#endif
#else
#define QX_CALL
#if defined(QXPIXLIB_BUILD)
#define QX_API __attribute__((visibility("default")))
#else
#define QX_API
#endif
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t Argb32;
typedef uint32_t Ayuv32;

/* ---- frame ---- */

/* Does nothing. The library is ready when it is loaded; hosts that expect an initialisation call may make
 * this one, before or after any other call, with any arguments. */
QX_API void QX_CALL qx_pixinit(void);

/* Does nothing, and converts nothing: the same entry as qx_pixinit, kept so that hosts which look for this
 * name find it. Any arguments are ignored. */
QX_API void QX_CALL qx_r210argb(void);

/* Writes `value` into every pixel: dst[i] = value. The value is not looked at, so any 32-bit format will do:
 * 0x80FF0000 is half-transparent red in Argb32, the bytes 00 00 FF 80. */
QX_API void QX_CALL qx_fill(Argb32* dst, uint32_t value, int32_t count);

/* ---- conversion ---- */

/* Argb32 to Ayuv32, ITU-R BT.601, studio range; alpha unchanged. With T(v, c) = floor(v * c / 512):
 *
 *     U = floor((T(R, -1212) + T(G, -2383) + T(B,  3596)) / 16) + 128
 *     Y = floor((T(R,  2105) + T(G,  4128) + T(B,   803)) / 16) + 16
 *     V = floor((T(R,  3596) + T(G, -3014) + T(B,  -581)) / 16) + 128
 *
 * The constants are the BT.601 matrix times 8192. Each product is floored before the sum, so that white gives
 * U 127, Y 234, V 127. */
QX_API void QX_CALL qx_argb2ayuv(Ayuv32* dst, const Argb32* src, int32_t count);

/* Ayuv32 to Argb32, ITU-R BT.601, studio range; alpha unchanged. With u = U - 128, y = Y - 16, v = V - 128:
 *
 *     B = floor((16531 * u + 9535 * y) / 8192)
 *     G = floor((-3203 * u + 9535 * y) / 8192) + floor(-6660 * v / 8192)
 *     R = floor((13074 * v + 9535 * y) / 8192)
 *
 * each clamped to 0..255. The constants are the BT.601 inverse times 8192. Y 235 with U and V 128 gives 254
 * for white; there and back is not lossless. */
QX_API void QX_CALL qx_ayuv2argb(Argb32* dst, const Ayuv32* src, int32_t count);

/* Unpacks one line of v210 (10-bit 4:2:2) into three planes of 16-bit samples, one after the other in dst:
 * count Y, then count / 2 Cb, then count / 2 Cr; the 10-bit value in bits 0 to 9, zeros above. dst receives
 * 4 * count bytes.
 *
 * v210 packs six pixels into blocks of four little-endian 32-bit words, three samples a word in bits 0-9,
 * 10-19 and 20-29 (bits 30 and 31 are ignored): Cb0 Y0 Cr0, Y1 Cb1 Y2, Cr1 Y3 Cb2, Y4 Cr2 Y5. Any positive
 * even count will do; src is read by blocks, 16 * ceil(count / 6) bytes. An odd count writes nothing, as one
 * of 0 or below. dst and src may not overlap; neither needs alignment. */
QX_API void QX_CALL qx_v210yuv422p10(uint16_t* dst, const void* src, int32_t count);

/* ---- blending ----
 *
 * Three families lay a foreground line fg over a background line bg. Both inputs have straight alpha (colour
 * not multiplied by alpha). Below, c stands for each of the bytes 0, 1 and 2, a for alpha; every / drops the
 * fraction.
 *
 *   qx_blend    Porter-Duff over, the result premultiplied: choose it where bg is opaque, or where the
 *               next step wants premultiplied colour.
 *   qx_lblend   A linear mix of the colours by the weight alone, the alphas added: choose it where bg is a
 *               picture whose alpha is to be kept, such as an opaque frame.
 *   qx_sblend   Porter-Duff over, the result straight again (divided by its alpha): choose it to lay layers
 *               over each other before a background is known.
 *
 * Each family has five functions, which differ in the weight w of the foreground alone:
 *
 *   (none)      w = fg.a
 *   _t          w = fg.a * T / 256                               a fade of the whole line
 *   _m          w = fg.a * mask[i] / 256                         a matte, one byte a pixel
 *   _mt         w = fg.a * (mask[i] * T / 256) / 256             a matte, faded
 *   _mlt        w = fg.a * (lut[mask[i]] * T / 256) / 256        a matte through a table, faded
 *
 * with T = min(opacity, 256): opacity is in 1/256, 256 is full, and what a caller means as negative is large
 * and so is full too. A mask byte of 255 stands for 255/256 and takes 1 from an alpha above 0. mask has count
 * bytes and lut has 256; neither is read elsewhere. dst may be bg or fg, but neither mask nor lut.
 *
 * The last two pixels. Where count % 4 is 2, the last but one pixel of dst is formed from its own background
 * and mask byte, and from the LAST foreground pixel: dst[count - 2] blends bg[count - 2] with fg[count - 1].
 * Every other pixel blends its own two. Hosts that cannot accept this pass lines whose count % 4 is not 2.
 */

/* dst.c = fg.c * w / 256 + bg.c * bg.a * (256 - w) / 65536
 * dst.a = 255 * w / 256 + 255 * bg.a * (256 - w) / 65536
 *
 * Premultiplied result; both inputs straight. No byte of it is above 254: opaque over opaque gives alpha 254
 * and fg.c * 255 / 256, and a transparent foreground over an opaque background gives bg.c * 255 / 256. */
QX_API void QX_CALL qx_blend(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count);
QX_API void QX_CALL qx_blend_t(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                               uint32_t opacity);
QX_API void QX_CALL qx_blend_m(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                               const uint8_t* mask);
QX_API void QX_CALL qx_blend_mt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                const uint8_t* mask, uint32_t opacity);
QX_API void QX_CALL qx_blend_mlt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                 const uint8_t* mask, const uint8_t* lut, uint32_t opacity);

/* dst.c = bg.c * (256 - w) / 256 + fg.c * w / 256
 * dst.a = min(255, bg.a + fg.a * w / 256)
 *
 * The background's alpha has no part in the colours. A weight of 0 leaves bg as it is, alpha included; an
 * opaque foreground gives fg.c * 255 / 256, so white becomes 254. */
QX_API void QX_CALL qx_lblend(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count);
QX_API void QX_CALL qx_lblend_t(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                uint32_t opacity);
QX_API void QX_CALL qx_lblend_m(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                const uint8_t* mask);
QX_API void QX_CALL qx_lblend_mt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                 const uint8_t* mask, uint32_t opacity);
QX_API void QX_CALL qx_lblend_mlt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                  const uint8_t* mask, const uint8_t* lut, uint32_t opacity);

/* dst.a = w + bg.a * (255 - w) / 256
 * dst.c = bg.c + floor(k * (fg.c - bg.c) / 256), with k = (65535 / dst.a) * w / 256, or 0 where dst.a is 0
 *
 * Straight result. k / 256 is the foreground's share of the colour, w / dst.a. An opaque background comes out
 * with alpha 254 unless w is 255; a weight of 0 leaves the colours and takes 1 from an alpha above 0. Where
 * only the foreground shows, a colour above the background's comes out 1 lower. */
QX_API void QX_CALL qx_sblend(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count);
QX_API void QX_CALL qx_sblend_t(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                uint32_t opacity);
QX_API void QX_CALL qx_sblend_m(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                const uint8_t* mask);
QX_API void QX_CALL qx_sblend_mt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                 const uint8_t* mask, uint32_t opacity);
QX_API void QX_CALL qx_sblend_mlt(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count,
                                  const uint8_t* mask, const uint8_t* lut, uint32_t opacity);

/* ---- alpha and mask ---- */

/* The alpha channel as a grey picture: all four bytes of dst[i] are src[i].a. */
QX_API void QX_CALL qx_alpha(Argb32* dst, const Argb32* src, int32_t count);

/* Scales alpha by a mask of one byte a pixel and copies the colours: dst.a = src.a * mask[i] / 256. A mask
 * byte of 255 takes 1 from an alpha above 0. The mask comes before the count here, and has count bytes. */
QX_API void QX_CALL qx_mask(Argb32* dst, const Argb32* src, const uint8_t* mask, int32_t count);

/* ---- interpolation, zoom, scaling: the four bytes of a pixel are treated alike ---- */

/* Mixes two lines: dst = src1 * w / 256 + src2 * (256 - w) / 256 for every byte, with w = min(weight, 256),
 * unsigned. Each product is floored on its own: 255 and 255 at weight 128 give 254. A weight of 256 copies
 * src1, 0 copies src2. dst may be src1 or src2. */
QX_API void QX_CALL qx_lin_pix(Argb32* dst, const Argb32* src1, const Argb32* src2, uint32_t weight,
                               int32_t count);

/* Doubles a line: dst[2 * i] = (src[i - 1] + src[i]) / 2 for every byte, dst[2 * i + 1] = src[i]; src[-1]
 * stands for src[0]. Whole groups of four source pixels only: the last count % 4 are neither read nor written
 * for, and dst receives 8 * (count / 4) pixels. dst and src may not overlap. */
QX_API void QX_CALL qx_zoom_in2x1d(Argb32* dst, const Argb32* src, int32_t count);

/* Doubles a picture of width x height pixels, its rows src_stride pixels apart, into 2 * height rows of
 * 2 * width pixels without gaps. Even rows of dst are source rows doubled as by qx_zoom_in2x1d; each odd row
 * is the average, (above + below) / 2, of the even rows around it, over 4 * (2 * width / 4) pixels; the last
 * row is a copy of the one before it. Where width % 4 is not 0, the pixels at the end of an even row that
 * qx_zoom_in2x1d would leave stay as they were, and enter the odd rows as they are.
 *
 * A height of 0 or below copies row 0 of dst to row 1, and does no more. A width of 0 or below, or above
 * 1073741823, does nothing. dst and src may not overlap. */
QX_API void QX_CALL qx_zoom_in2x2d(Argb32* dst, const Argb32* src, int32_t width, int32_t height,
                                   int32_t src_stride);

/* Resamples a line of src_count pixels to dst_count, by two taps. Output j lies at position p(j), in 1/256 of
 * a source pixel: p(j) = j * step with step = (256 * (src_count - 1) - 1) / (dst_count - 1), but for the
 * last, which is pinned: p(dst_count - 1) = 256 * (src_count - 1) - 1. With i = p / 256, f = p % 256, and
 * every product floored on its own, each byte is
 *
 *     dst[j] = left * (256 - f) / 256 + right * f / 256,   right = src[i(j) + 1]
 *
 * where left is src[i(j)] for even j, and src[i(j - 1) + 1] for odd j: in every pair of outputs the second
 * one's left tap is the pixel after the first one's. Whole groups of four outputs only: the last dst_count %
 * 4 are not written.
 *
 * A dst_count below 4 writes nothing, nor does a src_count below 2 or above 8388607. dst and src may not
 * overlap. */
QX_API void QX_CALL qx_scale_1d(Argb32* dst, int32_t dst_count, const Argb32* src, int32_t src_count);

/* qx_scale_1d for each of `height` rows: from rows of src_width pixels, src_stride apart, to rows of
 * dst_width, dst_stride apart (strides in pixels). The widths have the limits of qx_scale_1d; a height of 0
 * or below writes nothing. */
QX_API void QX_CALL qx_scale_horz(Argb32* dst, int32_t dst_width, int32_t dst_stride, const Argb32* src,
                                  int32_t src_width, int32_t height, int32_t src_stride);

/* Shrinks a picture by whole factors without a filter: dst(x, y) = src(x * fx, y * fy), with
 * fx = src_width / dst_width, rounded up, and fy likewise. Both pictures are without gaps between their rows.
 *
 * Positions are not clamped. Where fx * (dst_width - 1) >= src_width the last columns come from the next row,
 * and where fy * (dst_height - 1) >= src_height the last rows lie below the picture: the memory at src must
 * reach so far. Writes nothing where a factor, dst_width or dst_height is 0 or below. dst and src may not
 * overlap. */
QX_API void QX_CALL qx_zoom_outNx(Argb32* dst, int32_t dst_width, int32_t dst_height, const Argb32* src,
                                  int32_t src_width, int32_t src_height);

#ifdef __cplusplus
}
#endif

#endif
