// The rows of one build. Results do not depend on the bytes of a vector; weights, terms, sums and covers are
// handed on as the kernels do, and made visible by what takes them.
#include "operations.h"

#include "convert/v210_planes.h"
#include "vec/vec.h"

namespace qx::QX_ISA {

static_assert(kLine % (block_vectors() * kPixels) == 0);

// ---- ways through the lines ----

template <typename Formula>
QX_INLINE void each_vector(const Operands& x, Formula formula) {
    for (int i = 0; i < kLine; i += kPixels) store(x.out + i, formula(load(x.a + i), load(x.b + i)));
}

QX_INLINE void store_pair(Argb32* out, Pair px) {
    store(out, px.first);
    store(out + kPixels, px.second);
}
template <typename Formula>
QX_INLINE void each_pair(const Operands& x, Formula formula) {
    for (int i = 0; i < kLine; i += 2 * kPixels)
        store_pair(x.out + i, formula(Pair{load(x.a + i), load(x.a + i + kPixels)}));
}

// part(i, n) for partial vectors of n pixels, from pixel i on, until the lines end and their memory with
// them: what fits in one at the end, pairs of pixels before.
template <int kMost, typename Part>
QX_INLINE void each_part(int count, Part part) {
    for (int i = kLine - count, n = 0; i < kLine; i += n) {
        n = kLine - i <= kMost ? kLine - i : 2;
        part(i, n);
    }
}

// What prepare(i, loaded) makes of lines from pixel i on, as two lines of visible(), first by vectors and
// then by blocks; `loaded` is how lines are loaded.
template <typename Prepare, typename Visible>
QX_INLINE void by_vectors_and_blocks(Argb32* out, Prepare prepare, Visible visible) {
    auto show = [&](Argb32* at, const auto& prepared) QX_LAMBDA {
        Pair px = visible(prepared);
        store(at, px.first);
        store(at + kLine, px.second);
    };
    for (int i = 0; i < kLine; i += kPixels)
        show(out + i, prepare(i, [](auto... line) QX_LAMBDA { return load(line...); }));
    for (int i = 0; i < kLine;) {
        auto block = prepare(i, [](auto... line) QX_LAMBDA { return load_block(line...); });
        for (int k = 0; k < block_vectors(); ++k, i += kPixels)
            show(out + 2 * kLine + i, of_vector(block, k));
    }
}

// ---- what is opaque to formulas, made visible ----

// A weight: 255 times it, and 255 times what it leaves of 256.
template <typename Weight>
QX_INLINE Pair visible(Weight weight) {
    const U8 full = splat(0xFFFFFFFF), none = splat(0);
    return {add(scale(full, weight), scale(none, rest_of(weight))),
            add(scale(none, weight), scale(full, rest_of(weight)))};
}
template <typename Prepare>
QX_INLINE void weights(const Operands& x, Prepare prepare) {
    by_vectors_and_blocks(x.out, prepare, [](auto weight) QX_LAMBDA { return visible(weight); });
}

// Foregrounds over every alpha, with a number all weights: the alpha of both, and 255 less the share.
static void covers(const Operands& x) {
    Argb32 under[kLine], over[kLine];
    for (uint32_t i = 0; i < kLine; ++i) {
        under[i] = i << 24 | 0xFFFFFF;
        over[i] = (x.number + 37 * i) << 24;
    }
    const Argb32 *bg = under, *fg = over;
    by_vectors_and_blocks(
        x.out, [=](int i, auto loaded) QX_LAMBDA { return cover(loaded(bg + i), weight_of(loaded(fg + i))); },
        [](const auto& cover) QX_LAMBDA {
            U8 px = colours_towards(with_alpha(splat(0x00FFFFFF), cover.alpha), splat(0), cover.share);
            return Pair{px, px};
        });
}

// As many outputs as a line gives from somewhere in its first pixel on, or some fewer. The line is what ends
// with the right tap of the last one.
static void taps(const Operands& x) {
    const uint32_t step = x.number, start = x.mask[0], most = (256 * (kLine - 1) - 1 - start) / step + 1;
    uint32_t count = most < kLine ? most : kLine;
    count -= x.mask[1] % 32 % count;
    const int reach = static_cast<int>((start + (count - 1) * step) >> 8) + 2;
    with_taps(x.a + kLine - reach, reach, step, [&](auto taps_at) QX_LAMBDA {
        for (uint32_t j = 0; j < count; j += kPixels) {
            const int n = count - j < kPixels ? static_cast<int>(count - j) : kPixels;
            const Taps taps = taps_at(start + j * step, n);
            const Pair fraction = visible(taps.fraction);
            const U8 all[] = {taps.left, taps.right, fraction.first, fraction.second};
            for (int k = 0; k < 4; ++k) {
                Argb32* out = x.out + k * kLine + j;
                n < kPixels ? store_n(out, all[k], n) : store(out, all[k]);
            }
        }
    });
}

// A 16-bit number out of the table.
QX_INLINE int16_t coefficient(const Operands& x, int k) {
    return static_cast<int16_t>(x.table[2 * k] << 8 | x.table[2 * k + 1]);
}

template <typename Plane>
QX_INLINE void unpack_planes(Argb32* out, const Argb32* src) {
    auto* dst = reinterpret_cast<uint16_t*>(out);
    for (int i = 0; i < kLine; i += group_blocks() * 4, dst += group_blocks() * Plane::kPerBlock)
        unpack_plane<Plane>(dst, reinterpret_cast<const uint8_t*>(src + i));
}

// ---- the rows ----

// a and b are pixels of the lines, w is a weight out of b.
#define QX_EACH(result)                                                              \
    [](const Operands& x) {                                                          \
        each_vector(x, [&]([[maybe_unused]] U8 a, [[maybe_unused]] U8 b) QX_LAMBDA { \
            [[maybe_unused]] const auto w = byte_weight<0>(b);                       \
            return result;                                                           \
        });                                                                          \
    }

// Pixels and masks are loaded by `loaded` from the lines at i.
#define QX_WEIGHTS(weight) \
    [](const Operands& x) { weights(x, [&](int i, auto loaded) QX_LAMBDA { return weight; }); }

// n pixels of the lines at i.
#define QX_PARTS(most, part)                                                                \
    [](const Operands& x) {                                                                 \
        each_part<most>(static_cast<int>(x.number), [&](int i, int n) QX_LAMBDA { part; }); \
    }

// For sums within -126 to 125 times 16.
constexpr int kFactors0[] = {1361, -1361, 1300}, kFactors1[] = {-4000, 31, -2}, kFactors2[] = {17, 255, 3700};

static const Operation rows[] = {
    {"select", 0, 0, QX_EACH(select(U8(a > b), a, b))},
    {"merge_high", 0, 0, QX_EACH(merge_high(U16(a), U16(b)))},
    {"spread_byte", 0, 0, QX_EACH(U8(spread_byte<1>(a)))},
    {"repeat_byte", 0, 0, QX_EACH(repeat_byte<0>(a))},
    {"add_saturated", 0, 0, QX_EACH(add_saturated(a, b))},
    {"average", 0, 0, QX_EACH(average(a, b))},
    {"opaque", 0, 0, QX_EACH(opaque(a))},
    {"spread_alpha", 0, 0, QX_EACH(spread_alpha(a))},
    {"with_alpha", 0, 0, QX_EACH(with_alpha(a, b))},
    {"zip", 0, 0,
     [](const Operands& x) {
         for (int i = 0; i < kLine; i += kPixels)
             store_pair(x.out + 2 * i, zip({load(x.a + i), load(x.b + i)}));
     }},
    {"preceding", 0, 0,
     [](const Operands& x) {
         U8 before = repeat_pixel(load(x.b));
         for (int i = 0; i < kLine; i += kPixels) {
             U8 px = load(x.a + i);
             store(x.out + i, preceding(before, px));
             before = px;
         }
     }},
    {"repeat_last", 2, 15, QX_PARTS(kPixels - 1, {
         U8 px = load_n(x.a + i, n);
         store_n(x.out + i, i + n == kLine ? repeat_last(px, n) : px, n);
     })},
    {"load_n", 1, 15,
     [](const Operands& x) {
         for (int i = kLine; i < 2 * kLine; ++i) x.out[i] = 0;  // as load_n leaves it
         QX_PARTS(kPixels - 1, store(x.out + i, load_n(x.a + i, n)))(x);
     }},
    {"load_up_to", 1, 31, QX_PARTS(2 * kPixels - 1, store_up_to(x.out + i, load_up_to(x.a + i, n), n))},
    {"load_every", 2, 3,
     [](const Operands& x) {
         const int step = static_cast<int>(x.number), count = kLine / step & -16;
         const Argb32* src = x.a + kLine - 1 - (count - 1) * step;
         for (int i = 0; i < count; i += kPixels)
             store(x.out + i, step == 2 ? load_every_second(src + 2 * i) : load_every_third(src + 3 * i));
     }},
    {"copy_four", 1, 5,
     [](const Operands& x) {
         const int step = static_cast<int>(x.number);
         for (int i = kLine - 1 - 3 * step; i >= 0; i -= 4) copy_four(x.out + i / 4 * 4, x.a + i, step);
     }},
    {"with_taps", 1, 1100, taps},

    {"scale_alpha", 0, 0,
     [](const Operands& x) {
         for (int i = 0; i < kLine; i += kPixels)
             store(x.out + i, scale_alpha(load(x.a + i), load(x.mask + i)));
     }},
    {"load_n_of_masks", 1, 15, QX_PARTS(kPixels - 1, {
         U8 px = load_n(x.a + i, n);
         store_n(x.out + i, scale_alpha(px, load_n(x.mask + i, n)), n);
         Pair mapped = visible(weight_of(px, load_n(x.mask + i, table_of(x.table), n)));
         store_n(x.out + kLine + i, mapped.first, n);
         store_n(x.out + 2 * kLine + i, mapped.second, n);
     })},
    {"weight_of", 0, 0, QX_WEIGHTS(weight_of(loaded(x.a + i)))},
    {"weight_of_opacity", 0, 256, QX_WEIGHTS(weight_of(loaded(x.a + i), Opacity{x.number}))},
    {"weight_of_mask", 0, 0, QX_WEIGHTS(weight_of(loaded(x.a + i), loaded(x.mask + i)))},
    {"weight_of_mask_opacity", 0, 256,
     QX_WEIGHTS(weight_of(loaded(x.a + i), loaded(x.mask + i), Opacity{x.number}))},
    {"weight_of_table_opacity", 0, 256,
     QX_WEIGHTS(weight_of(loaded(x.a + i), loaded(x.mask + i, table_of(x.table)), Opacity{x.number}))},
    {"fade", 0, 256,
     [](const Operands& x) {
         uint8_t room[256];
         const auto table = fade(table_of(x.table), Opacity{x.number}, room);
         auto prepare = [&](int i, auto loaded)
                            QX_LAMBDA { return weight_of(loaded(x.a + i), loaded(x.mask + i, table)); };
         weights(x, prepare);
     }},
    {"splat_weight", 0, 255,
     QX_EACH(add(scale(a, splat_weight(x.number)), scale(b, rest_of(splat_weight(x.number)))))},
    {"scale", 0, 0, QX_EACH(add(scale(a, w), scale(b, rest_of(w))))},
    {"scale_colours", 0, 0, QX_EACH(add_saturated(scale_colours(a, rest_of(w)), scale(b, w)))},
    {"scale_premultiplied", 0, 0, QX_EACH(add(scale_opaque(b, w), scale_premultiplied(a, rest_of(w))))},
    {"mix", 0, 127, QX_EACH(mix(a, b, static_cast<int>(x.number)))},
    {"colours_towards", 0, 0, QX_EACH(colours_towards(a, b, w))},
    {"cover", 0, 255, covers},

    {"sum_of_512ths", 0, 0,
     [](const Operands& x) {
         each_pair(x, [](Pair px) QX_LAMBDA {
             const auto bytes = planes_of(px);
             return pixels_of_sixteenths(sum_of_512ths<kFactors0>(bytes), sum_of_512ths<kFactors1>(bytes),
                                         sum_of_512ths<kFactors2>(bytes), 0x00807F82, px);
         });
     }},
    {"sum_of_8192ths", 0, 0,
     [](const Operands& x) {
         each_pair(x, [&](Pair px) QX_LAMBDA {
             auto from = [&](int k) { return coefficient(x, k); };
             const auto bytes = offset_planes(px, x.table[32], x.table[33], x.table[34]);
             return pixels_of_sums(
                 sum_of_8192ths<0>(bytes, from(0), from(1)), sum_of_8192ths<0>(bytes, from(2), from(3)),
                 sum_of_8192ths<2>(bytes, from(4), 0), sum_of_8192ths<2>(bytes, from(5), from(6)), px);
         });
     }},
    {"unpack_plane", 0, 0,
     [](const Operands& x) {
         unpack_planes<Luma>(x.out, x.a);
         unpack_planes<Cb>(x.out + kLine, x.a);
         unpack_planes<Cr>(x.out + 2 * kLine, x.a);
     }},
    {"unpack_block", 1, 3,
     [](const Operands& x) {  // of the line's last block, so many pairs of pixels
         const int n = static_cast<int>(x.number);
         auto plane = [&](int k) { return reinterpret_cast<uint16_t*>(x.out + k * kLine); };
         auto* block = reinterpret_cast<const uint8_t*>(x.a + kLine - 4);
         unpack_block<Luma, Cb, Cr>(plane(1) - 2 * n, plane(2) - n, plane(3) - n, block, 2 * n);
     }},
};

extern const Operations operations = {rows, sizeof rows / sizeof rows[0]};

}  // namespace qx::QX_ISA
