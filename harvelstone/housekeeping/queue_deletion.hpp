#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/platform/Result.hpp"

namespace harvelstone {

/// Whether a file of that name, without its ending, is a record queue's.
bool isQueueName(std::string_view name);

/// Counts in the ledger, with one commit, what the queues about to be deleted still hold. `outcome` says what becomes
/// of records that nobody read. Names that are no queue's are passed over.
void countBeforeDeletion(const std::vector<std::string>& names, std::string_view outcome);

/// Deletes the queue's file. What it holds was counted before, or is now: if the process ends between, the file is
/// still there, and the count is void.
platform::Result<void> deleteQueue(const std::string& name, std::string_view outcome);

}  // namespace harvelstone
