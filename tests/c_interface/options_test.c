/* The options: what may be left out, and hosts that were built with another version of the library. */
#define _XOPEN_SOURCE 700

#include <stddef.h>

#include "tests/c_interface/client.h"
#include "tests/c_interface/testing.h"

TEST(TheVersionIsThatOfTheHeader) {
    char text[32];
    snprintf(text, sizeof text, "%d.%d.%d", HARVELSTONE_VERSION_MAJOR, HARVELSTONE_VERSION_MINOR,
             HARVELSTONE_VERSION_PATCH);
    CHECK(strcmp(harvelstone_version(), text) == 0);
    CHECK(harvelstone_version_number() == HARVELSTONE_VERSION);
}

TEST(EverySettingReachesTheServer) {
    const int64_t days = 5;
    harvelstone_options options = options_with_client();
    options.app_version = "2.1";
    options.advertising_id = "ad-1";
    options.advertising_id_allowed = HARVELSTONE_YES;
    options.vendor_id = "vendor-1";
    options.user_id = "user-1";
    options.imei = "490154203237518";
    options.return_visit_days = &days;
    options.visit_timeout_seconds = 60;
    CHECK_OK(harvelstone_configure(&options));
    CHECK_OK(harvelstone_install_referrer(NULL));
    CHECK_OK(harvelstone_flush(20000, NULL));

    const char* settings[] = {"\"shop\"", "\"2.1\"", "\"ad-1\"", "\"vendor-1\"", "\"user-1\"", "\"490154203237518\""};
    for (size_t i = 0; i < sizeof settings / sizeof *settings; ++i)
        CHECK_HOLDS(client_request(0)->document, settings[i]);
}

TEST(ConsentCanBeWithheldFromTheStart) {
    harvelstone_options options = options_with_client();
    options.consent = HARVELSTONE_NO;
    CHECK_OK(harvelstone_configure(&options));
    CHECK_OK(harvelstone_install_referrer(NULL));
    CHECK_OK(harvelstone_flush(20000, NULL));
    CHECK(client_request_count() == 0);
}

TEST(OptionsMustBeThereWithTheirSize) {
    harvelstone_options options = options_with_client();
    CHECK_REFUSED(harvelstone_configure(NULL), "the options are NULL");
    options.size = 0;
    CHECK_REFUSED(harvelstone_configure(&options), "options.size is not set");
}

TEST(ASettingThatIsNoneIsRefused) {
    harvelstone_options options = options_with_client();
    options.consent = 3;
    CHECK_REFUSED(harvelstone_configure(&options), "consent");
    options = options_with_client();
    options.main_queue = 2;
    CHECK_REFUSED(harvelstone_configure(&options), "main_queue");
    options = options_with_client();
    options.visit_timeout_seconds = -1;
    CHECK_REFUSED(harvelstone_configure(&options), "visitTimeout");
    options = options_with_client();
    options.certificate_authorities = "/nowhere.pem";
    CHECK_REFUSED(harvelstone_configure(&options), "certificateAuthorities");
}

TEST(AFolderIsFixedByTheFirstCall) {
    start_with_client();
    const harvelstone_options again = options_with_client();
    CHECK_REFUSED(harvelstone_configure(&again), "already");
    const harvelstone_options later = {.size = sizeof later, .app_version = "2.2"};
    CHECK_OK(harvelstone_configure(&later));
}

/* Nothing answers at that address, so the document is given up, and its file goes a second later. */
TEST(TheFilesOfDocumentsThatAreDoneGoWhateverWasCalledBeforeConfigure) {
    setenv("XDG_DOCUMENTS_DIR", documents_folder(), 1);
    CHECK_OK(harvelstone_set_consent(true));
    const harvelstone_options late = {.size = sizeof late, .target_uri = "http://127.0.0.1:9/"};
    CHECK_OK(harvelstone_configure(&late));
    CHECK_OK(harvelstone_install_referrer(NULL));
    char* receipt = NULL;
    CHECK_OK(harvelstone_flush(20000, &receipt));
    CHECK_HOLDS(receipt, "\"transport_failed\":1");
    harvelstone_free_text(receipt);
    CHECK_SOON(stored_documents() == 1);
}

TEST(AMainQueueThatIsPumpedIsRefusedAfterAnyOtherCall) {
    setenv("XDG_DOCUMENTS_DIR", documents_folder(), 1);
    CHECK_OK(harvelstone_set_consent(true));
    const harvelstone_options late = {.size = sizeof late, .main_queue = HARVELSTONE_MAIN_QUEUE_PUMPED};
    CHECK_REFUSED(harvelstone_configure(&late), "already");
}

/* Behind the options of an older host lies something else. */
TEST(WhatAnOlderHostDoesNotKnowIsUnset) {
    harvelstone_options options = options_with_client();
    options.size = offsetof(harvelstone_options, return_visit_days);
    options.consent = 77;
    CHECK_OK(harvelstone_configure(&options));
    CHECK_HOLDS(documents_folder(), "/");
    CHECK_OK(harvelstone_start_visit());
    CHECK(stored_documents() == 1);
}

struct newer_options {
    harvelstone_options known;
    const char* unknown;
};

TEST(ANewerHostMayLeaveUnsetWhatTheLibraryDoesNotKnow) {
    const struct newer_options options = {.known = options_with_client(), .unknown = NULL};
    struct newer_options sized = options;
    sized.known.size = sizeof sized;
    CHECK_OK(harvelstone_configure(&sized.known));
}

TEST(ANewerHostIsToldThatTheLibraryDoesNotKnowAnOption) {
    struct newer_options options = {.known = options_with_client(), .unknown = "set"};
    options.known.size = sizeof options;
    CHECK_REFUSED(harvelstone_configure(&options.known), "does not know");
}
