#include "heap.h"

#include <malloc.h>

void KeepFreedHeap()
{
    ::mallopt(M_MMAP_THRESHOLD, 1024 * 1024);
    ::mallopt(M_TRIM_THRESHOLD, 4 * 1024 * 1024);
}

void GiveBackFreedHeap()
{
    constexpr size_t WorthIt = 1024 * 1024;
    if (::mallinfo2().fordblks > WorthIt)
        ::malloc_trim(WorthIt / 4);
}
