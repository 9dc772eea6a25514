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
 *   Alignment.  None is needed: any byte address will do for any line, and any stack.
 *   Aliasing.   dst may be the very same line as an input. Lines that overlap in any other way give
 *               unspecified pixels.
 *   Counts.     Signed. A count of 0 or below reads nothing and writes nothing.
 *   Pointers.   Not checked: each must lead to a line of count pixels, unless count is 0 or below.
 *   Threads.    Any function may be called from any thread at any time; calls that write different lines may
 *               run at once. There is no state, no lock, no initialisation and no error.
 *   Rounding.   Integer arithmetic, the same bytes on every processor. A division by 256 or 65536 drops the
 *               fraction, each on its own, before any sum: the results lean low by a step on purpose.
 *   Floats.     The caller's floating-point modes (rounding, unmasked invalid or zero-divide exceptions,
 *               flush to zero) change nothing, and are left as they were.
 */
#ifndef QXPIXLIB_H
#define QXPIXLIB_H

#include <stdint.h>

/* QX_API: exported when the library itself is built, else imported. QX_CALL: the calling convention. */
#if defined(_WIN32)
#define QX_CALL __cdecl
#if defined(QXPIXLIB_BUILD)
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

/* ---- frame ---------------------------------------------------------------------------------------------- */

/* Does nothing. The library is ready when it is loaded; hosts that expect an initialisation call may make this
 * one, before or after any other call, with any arguments. */
QX_API void QX_CALL qx_pixinit(void);

/* Does nothing, and converts nothing: the same entry as qx_pixinit, kept so that hosts which look for this
 * name find it. Any arguments are ignored. */
QX_API void QX_CALL qx_r210argb(void);

/* Writes `value` into every pixel: dst[i] = value. The value is not looked at, so any 32-bit format will do:
 * 0x80FF0000 is half-transparent red in Argb32, the bytes 00 00 FF 80. */
QX_API void QX_CALL qx_fill(Argb32* dst, uint32_t value, int32_t count);

/* ---- blending ------------------------------------------------------------------------------------------- *
 *
 * Three families lay a foreground line fg over a background line bg. Both inputs have straight alpha (colour
 * not multiplied by alpha). Below, c stands for each of the bytes 0, 1 and 2, a for alpha, and w for the weight
 * of the foreground, which is fg.a; every / drops the fraction.
 *
 *   qx_blend    Porter-Duff over, the result premultiplied: choose it where bg is opaque, or where the
 *               next step wants premultiplied colour.
 *   qx_lblend   A linear mix of the colours by w alone, the alphas added: choose it where bg is a picture
 *               whose alpha is to be kept, such as an opaque frame.
 *   qx_sblend   Porter-Duff over, the result straight again (divided by its alpha): choose it to lay layers
 *               over each other before a background is known.
 *
 * The last two pixels. Where count % 4 is 2, the last but one pixel of dst is formed from its own background
 * and from the LAST foreground pixel: dst[count - 2] blends bg[count - 2] with fg[count - 1]. Every other pixel
 * blends its own two. Hosts that cannot accept this pass lines whose count % 4 is not 2.
 */

/* dst.c = fg.c * w / 256 + bg.c * bg.a * (256 - w) / 65536
 * dst.a = 255 * w / 256 + 255 * bg.a * (256 - w) / 65536
 *
 * Premultiplied result; both inputs straight. No byte of it is above 254: opaque over opaque gives alpha 254
 * and fg.c * 255 / 256, and a transparent foreground over an opaque background gives bg.c * 255 / 256. */
QX_API void QX_CALL qx_blend(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count);

/* dst.c = bg.c * (256 - w) / 256 + fg.c * w / 256
 * dst.a = min(255, bg.a + fg.a * w / 256)
 *
 * The background's alpha has no part in the colours. A transparent foreground leaves bg as it is, alpha
 * included; an opaque one gives fg.c * 255 / 256, so white becomes 254. */
QX_API void QX_CALL qx_lblend(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count);

/* dst.a = w + bg.a * (255 - w) / 256
 * dst.c = bg.c + floor(k * (fg.c - bg.c) / 256), with k = (65535 / dst.a) * w / 256, or 0 where dst.a is 0
 *
 * Straight result. k / 256 is the foreground's share of the colour, w / dst.a. An opaque background comes out
 * with alpha 254 unless fg is opaque; a transparent foreground leaves the colours and takes 1 from an alpha
 * above 0. Where only the foreground shows, a colour above the background's comes out 1 lower. */
QX_API void QX_CALL qx_sblend(Argb32* dst, const Argb32* bg, const Argb32* fg, int32_t count);

#ifdef __cplusplus
}
#endif

#endif
