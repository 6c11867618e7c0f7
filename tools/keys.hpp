#pragma once

#include <string>

namespace harvelstone::tools {

/// Every accessor of StaticValues and TrackType with its text, for people.
std::string keysText();
/// The same as one JSON object: {"StaticValues": {accessor: text}, "TrackType": {accessor: text}}.
std::string keysJson();

/// The same as two chapters of a page, each a table: the end of docs/keys.md.
std::string keysMarkdown();

enum class KeysFormat { text, json, markdown };

/// `harvelstone keys`.
int runKeys(KeysFormat format);

}  // namespace harvelstone::tools
