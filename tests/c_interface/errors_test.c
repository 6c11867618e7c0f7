/* What the C face refuses, and how it says so. */
#define _XOPEN_SOURCE 700

#include <pthread.h>

#include "tests/c_interface/client.h"
#include "tests/c_interface/testing.h"

TEST(ThereIsNoErrorAtFirst) { CHECK(strcmp(harvelstone_last_error(), "") == 0); }

TEST(ARecordThatIsNoJsonObjectIsRefused) {
    start_with_client();
    CHECK_REFUSED(harvelstone_click(NULL), "the record is NULL");
    CHECK_REFUSED(harvelstone_click("{\"button\":"), "the record is no JSON text");
    CHECK_REFUSED(harvelstone_click("{\"button\":\"\xFF\"}"), "the record is no JSON text");
    CHECK_REFUSED(harvelstone_click("[]"), "the record is no JSON object");
    CHECK_REFUSED(harvelstone_click("{\"\":1}"), "without a name");
    CHECK_REFUSED(harvelstone_page("home", "7"), "the details is no JSON object");
    CHECK_REFUSED(harvelstone_set_profile("7"), "the profile is no JSON object");

    char* ledger = NULL;
    CHECK_OK(harvelstone_ledger(&ledger));
    CHECK_HOLDS(ledger, "\"records\":{}");
    harvelstone_free_text(ledger);
}

TEST(WhatMustBeThereIsRefusedWhenItIsNot) {
    start_with_client();
    CHECK_REFUSED(harvelstone_page(NULL, NULL), "the page name is NULL");
    CHECK_REFUSED(harvelstone_page("", NULL), "the page name is empty");
    CHECK_REFUSED(harvelstone_set_product(NULL, "Shoe"), "the product code is NULL");
    CHECK_REFUSED(harvelstone_set_product_category("", NULL), "the category code is empty");
    CHECK_REFUSED(harvelstone_event("search", "query", "null"), "value");
    CHECK_REFUSED(harvelstone_campaign("banner", "spring", "7", NULL), "the referrer is NULL");
    CHECK_REFUSED(harvelstone_ledger(NULL), "NULL");
}

TEST(AGoalBeforeAnyProductIsRefused) {
    start_with_client();
    CHECK(harvelstone_goal(1, 1) == HARVELSTONE_INVALID_ARGUMENT);
}

TEST(ADeadlineBelowZeroIsRefusedAndLeavesNoReceipt) {
    start_with_client();
    char* receipt = (char*)documents_folder();
    CHECK_REFUSED(harvelstone_flush(-1, &receipt), "the deadline is below zero");
    CHECK(receipt == NULL);
}

TEST(TheLongestDeadlineIsWaitedForNoLongerThanNeeded) {
    start_with_client();
    CHECK_OK(harvelstone_flush(INT64_MAX, NULL));
    CHECK(client_request_count() == 1);
}

TEST(ASuccessLeavesTheErrorAsItWas) {
    start_with_client();
    CHECK_REFUSED(harvelstone_click("[]"), "no JSON object");
    CHECK_OK(harvelstone_click("{}"));
    CHECK_HOLDS(harvelstone_last_error(), "no JSON object");
}

static void* fail_elsewhere(void* unused) {
    CHECK(strcmp(harvelstone_last_error(), "") == 0);
    CHECK_REFUSED(harvelstone_page(NULL, NULL), "the page name is NULL");
    return unused;
}

TEST(AnErrorIsTheThreadsOwn) {
    CHECK_REFUSED(harvelstone_click("[]"), "no JSON object");
    pthread_t thread;
    CHECK(pthread_create(&thread, NULL, fail_elsewhere, NULL) == 0);
    pthread_join(thread, NULL);
    CHECK_HOLDS(harvelstone_last_error(), "no JSON object");
}

TEST(ALongErrorIsCutBetweenCharacters) {
    char uri[4001] = "";
    for (int i = 0; i < 2000; ++i) memcpy(uri + 2 * i, "\xC3\xA4", 3);
    for (int shift = 0; shift < 2; ++shift) {
        harvelstone_options options = options_with_client();
        options.target_uri = uri;
        uri[0] = 'x', uri[1] = 'x';
        if (shift == 1) options.target_uri = uri + 1;
        CHECK_REFUSED(harvelstone_configure(&options), "targetUri");
        const char* error = harvelstone_last_error();
        CHECK(strlen(error) > 1000 && strlen(error) < 1024);
        CHECK(strcmp(error + strlen(error) - 2, "\xC3\xA4") == 0);
    }
}
