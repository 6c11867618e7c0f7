#pragma once

#include <cstddef>
#include <string>

#include "bench/SendingApp.hpp"

namespace harvelstone::bench {

/// What the file of a visit's document holds before its first attempt, with ten pages in it; of a started app.
std::string waitingDocumentText();

/// Makes the list one of so many such documents, none of them synced.
void haveWaitingDocuments(SendingApp& app, std::size_t count);

}  // namespace harvelstone::bench
