// A plug-in of a host that has the library inside or links it. It gives the library no code of its own to call.
#include "harvelstone/api/Analytics.hpp"

using harvelstone::Analytics;

/// Starts the library, but gives it nothing to do.
extern "C" void configure(const char* url, const char* folder) {
    harvelstone::AnalyticsOptions options;
    options.targetUri = url;
    options.documentsFolder = folder;
    options.debug = true;  // a function for the log would be code of the plug-in's
    Analytics::configure(options);
}

extern "C" void begin(const char* url, const char* folder) {
    configure(url, folder);
    Analytics::installReferrer({});
    for (const char* visit : {"first", "second"}) {
        Analytics::startVisit();
        Analytics::click({{"visit", visit}});
        Analytics::endVisit();
    }
    Analytics::send();
}
