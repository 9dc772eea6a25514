// Memory that faults when anything outside it is touched.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

inline size_t page_size() {
#if defined(_WIN32)
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwPageSize;
#else
    return size_t(sysconf(_SC_PAGESIZE));
#endif
}
inline const size_t kPage = page_size();

// Pages without access, or null where there is no room; and access to some of them.
inline uint8_t* reserve_pages(size_t bytes) {
#if defined(_WIN32)
    return static_cast<uint8_t*>(VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS));
#else
    void* p = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return p == MAP_FAILED ? nullptr : static_cast<uint8_t*>(p);
#endif
}
inline bool open_pages(uint8_t* p, size_t bytes) {
#if defined(_WIN32)
    return VirtualAlloc(p, bytes, MEM_COMMIT, PAGE_READWRITE) != nullptr;
#else
    return mprotect(p, bytes, PROT_READ | PROT_WRITE) == 0;
#endif
}
inline void release_pages(uint8_t* p, [[maybe_unused]] size_t bytes) {
#if defined(_WIN32)
    VirtualFree(p, 0, MEM_RELEASE);
#else
    munmap(p, bytes);
#endif
}

// Pages in which a piece of `piece` bytes is seen again and again, or null where there is no room.
inline uint8_t* repeat_pages([[maybe_unused]] size_t piece, [[maybe_unused]] size_t bytes) {
#if defined(_WIN32)
    return nullptr;
#else
    uint8_t* all = sizeof(void*) < 8 ? nullptr : reserve_pages(bytes);
    const int file = memfd_create("piece", 0);
    bool mapped = all != nullptr && file >= 0 && ftruncate(file, off_t(piece)) == 0;
    for (size_t at = 0; mapped && at < bytes; at += piece)
        mapped = mmap(all + at, std::min(piece, bytes - at), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED,
                      file, 0) != MAP_FAILED;
    close(file);
    return mapped ? all : nullptr;
#endif
}

// Pages between two pages without access. A block is placed in them `gap` bytes from one of the two; the
// bytes around it hold a pattern that shows a stray write where no fault can.
class GuardedPages {
 public:
    explicit GuardedPages(size_t capacity) : size_((capacity + 2 * kMargin + kPage - 1) / kPage * kPage) {
        uint8_t* all = reserve_pages(size_ + 2 * kPage);
        begin_ = all + kPage;
        if (all == nullptr || !open_pages(begin_, size_)) std::abort();
    }
    ~GuardedPages() { release_pages(begin_ - kPage, size_ + 2 * kPage); }
    GuardedPages(const GuardedPages&) = delete;
    GuardedPages& operator=(const GuardedPages&) = delete;

    enum Edge { kLower, kUpper };

    uint8_t* place(size_t bytes, Edge edge, size_t gap) {
        block_ = edge == kLower ? begin_ + gap : begin_ + size_ - gap - bytes;
        bytes_ = bytes;
        std::memset(margin_begin(), kPattern, size_t(margin_end() - margin_begin()));
        return block_;
    }

    bool margins_intact() const {
        for (uint8_t* p = margin_begin(); p < margin_end(); ++p)
            if ((p < block_ || p >= block_ + bytes_) && *p != kPattern) return false;
        return true;
    }

 private:
    static constexpr size_t kMargin = 256;
    static constexpr uint8_t kPattern = 0xA5;

    uint8_t* margin_begin() const { return block_ - begin_ > ptrdiff_t(kMargin) ? block_ - kMargin : begin_; }
    uint8_t* margin_end() const {
        uint8_t *end = begin_ + size_, *after = block_ + bytes_;
        return end - after > ptrdiff_t(kMargin) ? after + kMargin : end;
    }

    size_t size_, bytes_ = 0;
    uint8_t *begin_, *block_ = nullptr;
};
