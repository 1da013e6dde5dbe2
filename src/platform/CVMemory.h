#pragma once

// Asks the allocator to back the memory it maps from now on with 2 MiB pages where the kernel
// grants them (transparent huge pages). Meant for jobs that build records by the hundred thousand:
// every first touch of a 4 KiB page is a fault, and in a virtual machine a fault can cost more than
// building the record that caused it. Lasts for the rest of the process; calling it again changes
// nothing. Whether the allocator can do it at all: only builds that allocate with mimalloc can.
bool CVPreferLargeMemoryPages();
