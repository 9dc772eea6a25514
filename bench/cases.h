// What the bench runs: every kernel, and the scalers at each of their ratios.
#pragma once

#include "frame/kernels.h"
#include "job.h"

// Peers of the scalers place their samples a little differently, which a gradient forgives; FFmpeg's decoder
// wants the unused bits of v210 to be 0.
enum class Input { kRandom, kGradient, kV210 };

struct Case {
    std::string name;
    std::function<void(Job&, int width, int height)> resize;  // the sizes, for outputs of about this size
    std::function<void(const qx::KernelTable&, const Job&, int times)> run;
    std::function<void(const Job&)> expect;
    Input input = Input::kRandom;
    // The streams of its bare copy; none where a line has another length than its result.
    int copied_lines = -1;
    bool copied_mask = false;
};

const std::vector<Case>& all_cases();
