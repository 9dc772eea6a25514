// Memory that faults when anything outside it is touched.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// Pages between two pages without access. A block is placed in them `gap` bytes from one of the two; the
// bytes around it hold a pattern that shows a stray write where no fault can.
class GuardedPages {
 public:
    explicit GuardedPages(size_t capacity) {
        size_t page = size_t(sysconf(_SC_PAGESIZE));
        size_ = (capacity + 2 * kMargin + page - 1) / page * page;
        mapping_ = size_ + 2 * page;
        void* all = mmap(nullptr, mapping_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (all == MAP_FAILED) std::abort();
        begin_ = static_cast<uint8_t*>(all) + page;
        if (mprotect(begin_, size_, PROT_READ | PROT_WRITE) != 0) std::abort();
    }
    ~GuardedPages() { munmap(begin_ - (mapping_ - size_) / 2, mapping_); }
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

    size_t size_, mapping_, bytes_ = 0;
    uint8_t *begin_, *block_ = nullptr;
};
