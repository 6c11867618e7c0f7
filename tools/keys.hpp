#pragma once

#include <string>

namespace harvelstone::tools {

/// Every accessor of StaticValues and TrackType with its text, for people.
std::string keysText();
/// The same as one JSON object: {"StaticValues": {accessor: text}, "TrackType": {accessor: text}}.
std::string keysJson();

/// `harvelstone keys`.
int runKeys(bool asJson);

}  // namespace harvelstone::tools
