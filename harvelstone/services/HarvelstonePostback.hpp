#pragma once

#include <string>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// Postback data: what partner networks get told about a visit. Kept in "postbackDB". Any thread may use it.
class HarvelstonePostback {
  public:
    static HarvelstonePostback& sharedInstance();

    /// The postback section of a document: the host's postback values and, while there is one, the referrer. The name
    /// is spelled so on purpose.
    Dictionary getPostbackJosn() const;

    /// Forgets the referrer, after a document has carried it.
    void removePostbackReferrer();

    void setPostbackReferrer(const std::string& referrer);
    void setPostbackData(const Dictionary& values);

    HarvelstonePostback() = default;
};

}  // namespace harvelstone
