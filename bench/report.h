// Results as tables for people, in Markdown, and as JSON for programs.
#pragma once

#include "measure.h"

void print_table(const Shape& shape, const std::vector<Result>& results);
void print_instructions(const std::vector<const Case*>& cases);
void print_json(const std::vector<Result>& results, double other_load);
