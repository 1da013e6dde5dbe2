#include "platform/CVMemory.h"

#ifdef CVDIFF_WITH_MIMALLOC
#include <mimalloc.h>
#endif

bool CVPreferLargeMemoryPages() {
#ifdef CVDIFF_WITH_MIMALLOC
    // Memory already mapped keeps its pages; new segments are mapped with MADV_HUGEPAGE.
    mi_option_enable(mi_option_large_os_pages);
    return true;
#else
    return false;
#endif
}
