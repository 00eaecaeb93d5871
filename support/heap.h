#pragma once

/// Keeps up to 4 MiB of freed memory in the process, and lets blocks below 1 MiB come from it. Without this the buffers
/// of every larger bus frame are given back to the kernel and faulted in again: measured, three times slower at 64 KiB.
void KeepFreedHeap();

/// Gives freed memory back to the kernel when there is more than 1 MiB of it, also what lies between blocks in use: the
/// many small blocks of a large frame.
void GiveBackFreedHeap();
