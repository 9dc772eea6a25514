// The vectors of this build and all operations on them: those that its own header does better, and the
// portable ones where it has none.
#pragma once

#include "vec/base.h"
#include QX_OPERATIONS
#include "vec/portable.h"
