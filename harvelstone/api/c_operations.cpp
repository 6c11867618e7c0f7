// The operations of the C face: each reads its arguments and calls the operation of the same name in Analytics. Runs on
// the host's threads.

#include <algorithm>
#include <chrono>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/api/c_call.hpp"
#include "harvelstone/api/harvelstone.h"
#include "harvelstone/api/ledger_value.hpp"
#include "harvelstone/platform/Json.hpp"

using harvelstone::Analytics;
using harvelstone::Dictionary;
using harvelstone::optionalRecord;
using harvelstone::optionalText;
using harvelstone::requiredRecord;
using harvelstone::requiredText;
using harvelstone::requiredValue;
using harvelstone::statusOf;

namespace {

using Milliseconds = std::chrono::milliseconds;

// Longer than any host waits, and still within the clock's range when added to now.
constexpr Milliseconds longestDeadline = std::chrono::hours(24 * 365);

using OfRecord = void (*)(const Dictionary&);

harvelstone_status passRecord(OfRecord operation, const char* json) {
    return statusOf([&] { operation(requiredRecord(json, "the record")); });
}

Milliseconds deadlineOf(std::int64_t milliseconds) {
    if (milliseconds < 0) throw harvelstone::platform::InvalidArgumentException("the deadline is below zero");
    return std::min(Milliseconds(milliseconds), longestDeadline);
}

Dictionary receiptValue(const harvelstone::FlushReceipt& receipt) {
    return {{"complete", receipt.complete},
            {"documents_sent", receipt.documentsSent},
            {"documents_still_stored", receipt.documentsStillStored},
            {"documents_dropped", Dictionary(receipt.documentsDropped.begin(), receipt.documentsDropped.end())},
            {"ledger", ledgerValue(receipt.ledger)}};
}

char* jsonForHost(const Dictionary& members) {
    return harvelstone::textForHost(harvelstone::platform::jsonText(members));
}

}  // namespace

harvelstone_status harvelstone_set_profile(const char* values_json) noexcept {
    return statusOf([&] { Analytics::setProfile(requiredRecord(values_json, "the profile")); });
}

harvelstone_status harvelstone_set_consent(bool granted) noexcept {
    return statusOf([&] { Analytics::setConsent(granted); });
}

harvelstone_status harvelstone_start_visit() noexcept { return statusOf(Analytics::startVisit); }

harvelstone_status harvelstone_end_visit() noexcept { return statusOf(Analytics::endVisit); }

harvelstone_status harvelstone_app_opened() noexcept { return statusOf(Analytics::appOpened); }

harvelstone_status harvelstone_refresh_document() noexcept { return statusOf(Analytics::refreshDocument); }

harvelstone_status harvelstone_page(const char* name, const char* details_json) noexcept {
    return statusOf(
        [&] { Analytics::page(requiredText(name, "the page name"), optionalRecord(details_json, "the details")); });
}

harvelstone_status harvelstone_page_record(const char* record_json) noexcept {
    return passRecord(Analytics::pageRecord, record_json);
}

harvelstone_status harvelstone_page_progress(double visit_seconds, int64_t page_views) noexcept {
    return statusOf([&] { Analytics::pageProgress(visit_seconds, page_views); });
}

harvelstone_status harvelstone_click(const char* record_json) noexcept {
    return passRecord(Analytics::click, record_json);
}

harvelstone_status harvelstone_revenue(const char* record_json) noexcept {
    return passRecord(Analytics::revenue, record_json);
}

harvelstone_status harvelstone_push_opened(const char* record_json) noexcept {
    return passRecord(Analytics::pushOpened, record_json);
}

harvelstone_status harvelstone_set_product(const char* code, const char* name) noexcept {
    return statusOf([&] { Analytics::setProduct(requiredText(code, "the product code"), optionalText(name)); });
}

harvelstone_status harvelstone_set_product_category(const char* code, const char* name) noexcept {
    return statusOf(
        [&] { Analytics::setProductCategory(requiredText(code, "the category code"), optionalText(name)); });
}

harvelstone_status harvelstone_goal(int64_t number, int64_t value) noexcept {
    return statusOf([&] { Analytics::goal(number, value); });
}

harvelstone_status harvelstone_event(const char* type, const char* name, const char* value_json) noexcept {
    return statusOf([&] {
        Analytics::event(requiredText(type, "the type"), requiredText(name, "the name"),
                         requiredValue(value_json, "the value"));
    });
}

harvelstone_status harvelstone_campaign(const char* type, const char* name, const char* value_json,
                                        const char* referrer) noexcept {
    return statusOf([&] {
        Analytics::campaign(requiredText(type, "the type"), requiredText(name, "the name"),
                            requiredValue(value_json, "the value"), requiredText(referrer, "the referrer"));
    });
}

harvelstone_status harvelstone_install_referrer(const char* values_json) noexcept {
    return statusOf([&] { Analytics::installReferrer(optionalRecord(values_json, "the referrer")); });
}

harvelstone_status harvelstone_send() noexcept { return statusOf(Analytics::send); }

harvelstone_status harvelstone_send_click_immediately(const char* record_json) noexcept {
    return passRecord(Analytics::sendClickImmediately, record_json);
}

harvelstone_status harvelstone_send_goal_immediately(const char* record_json) noexcept {
    return passRecord(Analytics::sendGoalImmediately, record_json);
}

harvelstone_status harvelstone_flush(int64_t deadline_milliseconds, char** receipt_json) noexcept {
    if (receipt_json != nullptr) *receipt_json = nullptr;
    return statusOf([&] {
        const auto receipt = Analytics::flush(deadlineOf(deadline_milliseconds));
        if (receipt_json != nullptr) *receipt_json = jsonForHost(receiptValue(receipt));
    });
}

harvelstone_status harvelstone_ledger(char** ledger_json) noexcept {
    if (ledger_json == nullptr) return harvelstone::failed(HARVELSTONE_INVALID_ARGUMENT, "the place for it is NULL");
    *ledger_json = nullptr;
    return statusOf([&] { *ledger_json = jsonForHost(ledgerValue(Analytics::ledger())); });
}

harvelstone_status harvelstone_run_main_queue() noexcept { return statusOf(Analytics::runMainQueue); }
