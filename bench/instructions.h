#pragma once

#include <functional>

// How many instructions `work` executes, counted one by one: it runs with the processor's trap flag set.
long instructions_of(const std::function<void()>& work);
