#include "heap.h"

#include <malloc.h>

void KeepFreedHeap()
{
    ::mallopt(M_MMAP_THRESHOLD, 1024 * 1024);
    ::mallopt(M_TRIM_THRESHOLD, 4 * 1024 * 1024);
}

void GiveBackFreedHeap()
{
    constexpr size_t Kept = 1024 * 1024;
    if (::mallinfo2().fordblks > 2 * Kept)
        ::malloc_trim(Kept);
}
