// Registers the rows and runs those that were asked for. scripts/benchmarks makes ratios of what this prints.

#include <benchmark/benchmark.h>

#include "bench/rows.hpp"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;

    namespace bench = harvelstone::bench;
    bench::addRecordRow();
    bench::addUnsyncedRecordRow();
    bench::addDrainRow();
    bench::addVisitRow();
    bench::addBodyRow();
    bench::addEncodingRow();
    bench::addLevelRow();
    bench::addPassRow();
    bench::addUploadRow();
    bench::addWholeUploadRow();
    bench::addStartRow();
    bench::addRetirementRow();
    bench::addRetirementGrowthRow();
    bench::addRemovalRow();
    bench::addMemoryRow();
    bench::addStallRow();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
