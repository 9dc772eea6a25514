/* A host program that knows the header's names and the library's file, and no more: it loads the library,
 * looks up every name, calls each on fixed input, from every stack alignment there is, and holds a hash of
 * what it wrote against hashes.txt, which is the same for every platform.
 *
 * usage: host LIBRARY hashes.txt, or host LIBRARY to print the hashes
 */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "shared_library.h"

#define LINE 4096 /* bytes of an input line */

/* Nothing is aligned to more than a byte. */
static uint8_t bg[LINE + 1], fg[LINE + 1], mask[LINE + 1], lut[257], dst[8 * LINE + 1];

typedef intptr_t Word; /* every argument is one word of the stack on 32-bit systems */

#define DST (Word)(dst + 1)
#define BG (Word)(bg + 1)
#define FG (Word)(fg + 1)
#define MASK (Word)(mask + 1)
#define LUT (Word)(lut + 1)
#define FAMILY(name)                                                                                         \
    {name, {DST, BG, FG, 486}}, {name "_t", {DST, BG, FG, 486, 200}}, {name "_m", {DST, BG, FG, 486, MASK}}, \
        {name "_mt", {DST, BG, FG, 486, MASK, 200}}, {                                                       \
        name "_mlt", { DST, BG, FG, 486, MASK, LUT, 200 }                                                    \
    }

static const struct Call {
    const char* name;
    Word arguments[7];
} calls[] = {
    {"qx_pixinit", {DST, BG, 64}},
    {"qx_r210argb", {DST, BG, 64}},
    {"qx_fill", {DST, 0x40302010, 487}},
    {"qx_argb2ayuv", {DST, BG, 487}},
    {"qx_ayuv2argb", {DST, BG, 487}},
    {"qx_v210yuv422p10", {DST, BG, 730}},
    FAMILY("qx_blend"),
    FAMILY("qx_lblend"),
    FAMILY("qx_sblend"),
    {"qx_alpha", {DST, BG, 487}},
    {"qx_mask", {DST, BG, MASK, 487}},
    {"qx_lin_pix", {DST, BG, FG, 77, 487}},
    {"qx_zoom_in2x1d", {DST, BG, 487}},
    {"qx_zoom_in2x2d", {DST, BG, 38, 11, 40}},
    {"qx_scale_1d", {DST, 700, BG, 487}},
    {"qx_scale_horz", {DST, 44, 50, BG, 61, 9, 64}},
    {"qx_zoom_outNx", {DST, 10, 7, BG, 31, 22}},
};
#define CALLS (sizeof calls / sizeof calls[0])

static void fill_with_noise(uint8_t* p, size_t n, uint32_t seed) {
    for (size_t i = 0; i < n; ++i) {
        seed = seed * 1664525u + 1013904223u;
        p[i] = (uint8_t)(seed >> 24);
    }
}

static uint64_t hash_of(const uint8_t* p, size_t n) { /* FNV-1a */
    uint64_t hash = 0xCBF29CE484222325u;
    for (size_t i = 0; i < n; ++i) hash = (hash ^ p[i]) * 0x100000001B3u;
    return hash;
}

#if defined(__i386__)
enum { ALIGNMENTS = 4, ALIGNMENT = 4 };

/* Calls with the stack `shift` bytes off a 16-byte boundary. */
static void call_at(Function function, const Word* words, unsigned shift) {
    __asm__ volatile(
        "movl %%esp, %%ebx\n\t"
        "andl $-16, %%esp\n\t"
        "subl %%eax, %%esp\n\t"
        "pushl 24(%%esi)\n\t"
        "pushl 20(%%esi)\n\t"
        "pushl 16(%%esi)\n\t"
        "pushl 12(%%esi)\n\t"
        "pushl 8(%%esi)\n\t"
        "pushl 4(%%esi)\n\t"
        "pushl (%%esi)\n\t"
        "call *%%edi\n\t"
        "movl %%ebx, %%esp"
        : "+a"(shift)
        : "S"(words), "D"(function)
        : "ebx", "ecx", "edx", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6",
          "xmm7");
}
#elif defined(__x86_64__) && !defined(_WIN32)
enum { ALIGNMENTS = 2, ALIGNMENT = 8 }; /* a convention of 16, which not every caller keeps */

static void call_at(Function function, const Word* words, unsigned shift) {
    register Word r8 __asm__("r8") = words[4];
    register Word r9 __asm__("r9") = words[5];
    Word di = words[0], si = words[1], dx = words[2], cx = words[3], ax = shift;
    __asm__ volatile(
        "movq %%rsp, %%rbx\n\t"
        "subq $128, %%rsp\n\t" /* what the compiler may keep there */
        "andq $-16, %%rsp\n\t"
        "subq %%rax, %%rsp\n\t"
        "subq $8, %%rsp\n\t"
        "pushq %[seventh]\n\t"
        "call *%[function]\n\t"
        "movq %%rbx, %%rsp"
        : "+D"(di), "+S"(si), "+d"(dx), "+c"(cx), "+a"(ax), "+r"(r8), "+r"(r9)
        : [seventh] "r"(words[6]), [function] "r"(function)
        : "rbx", "r10", "r11", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7",
          "xmm8", "xmm9", "xmm10", "xmm11", "xmm12", "xmm13", "xmm14", "xmm15");
}
#else
enum { ALIGNMENTS = 1, ALIGNMENT = 0 };

static void call_at(Function function, const Word* w, unsigned shift) {
    typedef void (*WithWords)(Word, Word, Word, Word, Word, Word, Word);
    (void)shift;
    ((WithWords)function)(w[0], w[1], w[2], w[3], w[4], w[5], w[6]);
}
#endif

int main(int argc, char** argv) {
    SharedLibrary library = argc > 1 ? open_library(argv[1]) : NULL;
    FILE* expected = argc > 2 ? fopen(argv[2], "r") : NULL;
    int failures = 0;
    if (library == NULL || (argc > 2 && expected == NULL)) {
        fprintf(stderr, "usage: host LIBRARY [hashes.txt]; one of them cannot be opened\n");
        return 2;
    }
    fill_with_noise(bg, sizeof bg, 1);
    fill_with_noise(fg, sizeof fg, 2);
    fill_with_noise(mask, sizeof mask, 3);
    fill_with_noise(lut, sizeof lut, 4);
    for (size_t k = 0; k < CALLS; ++k) {
        Function function = find_function(library, calls[k].name);
        char name[64] = "";
        unsigned long long want = 0;
        if (expected != NULL && fscanf(expected, "%63s %llx", name, &want) != 2) name[0] = 0;
        for (unsigned a = 0; a < ALIGNMENTS; ++a) {
            unsigned long long got;
            fill_with_noise(dst, sizeof dst, 5);
            if (function != NULL) call_at(function, calls[k].arguments, ALIGNMENT * a);
            got = hash_of(dst, sizeof dst);
            if (expected == NULL) {
                if (a == 0) printf("%s %016llx\n", calls[k].name, got);
            } else if (function == NULL || strcmp(name, calls[k].name) != 0 || got != want) {
                printf("FAILED: %s (expected %s), stack + %u\n", calls[k].name, name, ALIGNMENT * a);
                ++failures;
            }
        }
    }
    if (expected != NULL && fscanf(expected, "%63s", (char[64]){0}) == 1) {
        printf("FAILED: %s has more names than are called here\n", argv[2]);
        ++failures;
    }
    if (expected != NULL) printf("%d of %d names failed\n", failures, (int)CALLS);
    return failures != 0;
}
