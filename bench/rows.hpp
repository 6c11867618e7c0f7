#pragma once

/// The rows of the comparison. Each function registers the sides of one; scripts/benchmarks/rows.py says what they are
/// compared with and which ratio is aimed at.
namespace harvelstone::bench {

void addRecordRow();
void addUnsyncedRecordRow();
void addDrainRow();
void addVisitRow();
void addBodyRow();
void addEncodingRow();
void addLevelRow();
void addPassRow();
void addUploadRow();
void addWholeUploadRow();
void addStartRow();
void addRetirementRow();
void addRetirementGrowthRow();
void addRemovalRow();
void addMemoryRow();
void addStallRow();

}  // namespace harvelstone::bench
