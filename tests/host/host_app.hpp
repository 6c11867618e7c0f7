#pragma once

#include <string>
#include <vector>

#include "harvelstone/api/Analytics.hpp"

#include "tests/host/talk.hpp"

/// A small app with the library inside.
namespace host {

/// What the test wants, from the command line.
struct Orders {
    std::string url;
    std::string documents;  ///< the folder; who vouches for a server over TLS stands in it, too
    std::vector<std::string> rest;

    const std::string& at(std::size_t index) const { return rest.at(index); }
};

/// Starts the library, with its debug log if there is a sink for it.
void configure(const Orders& orders, harvelstone::AnalyticsOptions options = {});
/// Records one click that says `name`.
void click(const std::string& name);
/// Sends, and says whether nothing was left under way.
bool flush();

/// Goes to the moment named and says "ready" there; the app ends from it, or forks.
void reach(const std::string& moment, const Orders& orders);

/// The story of a fork of that name, to its end.
int playFork(const std::string& story, const Orders& orders);

}  // namespace host
