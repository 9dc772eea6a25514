// The table of one build: the kernels of its namespace, by name.
#include "frame/kernels.h"
#include "vec/vec.h"

namespace qx::QX_ISA {

#define QX_DECLARE(name) decltype(qx_##name) name;
QX_KERNELS(QX_DECLARE)
#undef QX_DECLARE

extern const KernelTable kernels = {
#define QX_ENTRY(name) name,
    QX_KERNELS(QX_ENTRY)
#undef QX_ENTRY
};

}  // namespace qx::QX_ISA
