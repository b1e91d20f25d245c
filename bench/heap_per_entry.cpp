// SPDX-License-Identifier: Apache-2.0
// Heap bytes per fault entry: the heap in use (glibc's mallinfo2, which counts whole chunks, the
// allocator's own header included) before and after filling the table with 12 x 256 entries,
// over the number of entries. Built for the target too and run under qemu-arm by bench/run.sh.
//
// An entry is one DIAG_PANEL_NODE_S (28 bytes on 32 bits, 32 on 64). glibc keeps a size word
// before each chunk and rounds chunks up to 8 bytes on 32 bits (16 on 64): 28 + 4 = 32, and
// 32 + 8 = 40 -> 48 on 64 bits. Merges into existing entries leave the heap as it was, but for
// the freed transient entries that glibc keeps in its per-thread cache (counted as in use).
#include <cstdio>
#include <malloc.h>

#include <diagpanel/diagpanel.h>

#include "bench/support.hpp"
#include <host_platform/diagpanel_host.h>

namespace {

constexpr u32 kEntries = bench::kFullTable;

size_t heapInUse()
{
    return mallinfo2().uordblks;
}

} // namespace

int main()
{
    HOST_LogEcho(0);
    if (DIAG_PANEL_InitHashTable() != 0) {
        return 1;
    }
    const size_t empty = heapInUse();
    bench::assertEveryEntry(0x1);
    const size_t full = heapInUse();
    bench::assertEveryEntry(0x2); // merges: a transient entry each, freed again
    const size_t merged = heapInUse();

    const DIAG_PANEL_NODE_S *node = g_stHashHandle.ppstList[0];
    const size_t usable = malloc_usable_size(const_cast<DIAG_PANEL_NODE_S *>(node));
    const double perEntry = static_cast<double>(full - empty) / kEntries;
    printf("heap per entry (%zu-bit): %u entries, %zu bytes in use -> %.2f bytes each\n",
           8 * sizeof(void *), kEntries, full - empty, perEntry);
    printf("  entry record %zu bytes, usable in its chunk %zu, chunk %zu with the size word\n",
           sizeof(DIAG_PANEL_NODE_S), usable, usable + sizeof(size_t));
    printf("  after %u merges the heap in use changed by %td bytes (glibc's per-thread cache)\n",
           kEntries, static_cast<ptrdiff_t>(merged - full));
    printf("ROW|Heap per fault entry (%zu-bit)|%.0f bytes (a %zu-byte entry in a %zu-byte chunk)|"
           "<= 32 on armhf|%s\n",
           8 * sizeof(void *), perEntry, sizeof(DIAG_PANEL_NODE_S), usable + sizeof(size_t),
           sizeof(void *) == 4 ? (perEntry <= 32 ? "met" : "missed") : "-");
    return 0;
}
