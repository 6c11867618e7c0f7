// The options of the C face, which hosts of other versions may fill, and the library's version. Stores nothing; runs on
// the host's threads.

#include <algorithm>
#include <cstring>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/api/c_call.hpp"
#include "harvelstone/api/c_machine.hpp"
#include "harvelstone/api/harvelstone.h"

#define TEXT_OF(number) #number
#define VERSION_TEXT(major, minor, patch) TEXT_OF(major) "." TEXT_OF(minor) "." TEXT_OF(patch)

using harvelstone::AnalyticsOptions;
using harvelstone::optionalText;
using harvelstone::platform::InvalidArgumentException;

namespace {

/// The options as this version knows them. A shorter struct, of a host that was built with an older version, leaves the
/// rest zero; of a longer one, what we do not know must be zero.
harvelstone_options knownOptions(const harvelstone_options* options) {
    if (options == nullptr) throw InvalidArgumentException("the options are NULL");
    if (options->size < sizeof options->size) throw InvalidArgumentException("options.size is not set");
    const auto* bytes = reinterpret_cast<const char*>(options);
    harvelstone_options known{};
    const auto common = std::min(options->size, sizeof known);
    if (std::any_of(bytes + common, bytes + options->size, [](char byte) { return byte != 0; }))
        throw InvalidArgumentException("an option is set that this version of the library does not know");
    std::memcpy(&known, bytes, common);
    return known;
}

std::optional<bool> choiceOf(harvelstone_choice choice, std::string_view what) {
    switch (choice) {
        case HARVELSTONE_UNSET:
            return std::nullopt;
        case HARVELSTONE_NO:
            return false;
        case HARVELSTONE_YES:
            return true;
        default:
            throw InvalidArgumentException(std::string(what) + " is neither unset, no nor yes");
    }
}

harvelstone::MainQueueChoice mainQueueOf(harvelstone_main_queue choice) {
    switch (choice) {
        case HARVELSTONE_MAIN_QUEUE_OWN_THREAD:
            return harvelstone::MainQueueChoice::ownThread;
        case HARVELSTONE_MAIN_QUEUE_PUMPED:
            return harvelstone::MainQueueChoice::pumpedByHost;
        default:
            throw InvalidArgumentException("main_queue is no choice that there is");
    }
}

void setMachine(AnalyticsOptions& options, const harvelstone_options& given) {
    // Paths are the file system's bytes, whatever they say.
    if (given.documents_folder != nullptr) options.documentsFolder = given.documents_folder;
    if (given.certificate_authorities != nullptr) options.certificateAuthorities = given.certificate_authorities;
    options.mainQueue = mainQueueOf(given.main_queue);
    auto& machine = options.platform;
    if (given.log != nullptr) machine.log = harvelstone::logOfHost(given.log, given.log_user_data);
    if (given.run_on_main_queue != nullptr)
        machine.mainQueue = harvelstone::mainQueueOfHost(given.run_on_main_queue, given.main_queue_user_data);
    if (given.send_request != nullptr)
        machine.httpClient = harvelstone::httpClientOfHost(given.send_request, given.http_user_data);
}

AnalyticsOptions optionsOf(const harvelstone_options& given) {
    AnalyticsOptions options;
    options.targetUri = optionalText(given.target_uri);
    options.appKey = optionalText(given.app_key);
    options.appVersion = optionalText(given.app_version);
    options.advertisingId = optionalText(given.advertising_id);
    options.advertisingIdAllowed = choiceOf(given.advertising_id_allowed, "advertising_id_allowed");
    options.vendorId = optionalText(given.vendor_id);
    options.userId = optionalText(given.user_id);
    options.imei = optionalText(given.imei);
    options.consent = choiceOf(given.consent, "consent");
    options.debug = choiceOf(given.debug, "debug");
    if (given.visit_timeout_seconds != 0) options.visitTimeout = std::chrono::seconds(given.visit_timeout_seconds);
    if (given.return_visit_days != nullptr) options.returnVisitDays = *given.return_visit_days;
    setMachine(options, given);
    return options;
}

}  // namespace

harvelstone_status harvelstone_configure(const harvelstone_options* options) noexcept {
    return harvelstone::statusOf([&] { harvelstone::Analytics::configure(optionsOf(knownOptions(options))); });
}

const char* harvelstone_version() noexcept {
    return VERSION_TEXT(HARVELSTONE_VERSION_MAJOR, HARVELSTONE_VERSION_MINOR, HARVELSTONE_VERSION_PATCH);
}

int32_t harvelstone_version_number() noexcept { return HARVELSTONE_VERSION; }
