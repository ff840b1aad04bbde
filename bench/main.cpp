// The one main of bench_am; every other file of bench/ only registers benchmarks.
#include <benchmark/benchmark.h>
#include <malloc.h>

int main(int argc, char **argv) {
    // glibc gives memory back to the kernel whenever the free top of the heap passes
    // 128 KB and serves large blocks with mmap, so a case that allocates and frees a
    // large document per iteration would time brk, munmap and page faults rather than
    // the code. Keep the heap, for every case alike.
    mallopt(M_TRIM_THRESHOLD, 64 * 1024 * 1024);
    mallopt(M_MMAP_THRESHOLD, 64 * 1024 * 1024);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
