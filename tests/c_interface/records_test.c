/* What is recorded through the C face is sent, or counted. */
#include "tests/c_interface/client.h"
#include "tests/c_interface/testing.h"

static const int64_t deadline = 20000;

static void check_ledger_holds(const char* part) {
    char* ledger = NULL;
    CHECK_OK(harvelstone_ledger(&ledger));
    CHECK_HOLDS(ledger, part);
    harvelstone_free_text(ledger);
}

static const char* flushed_document(void) {
    CHECK_OK(harvelstone_flush(deadline, NULL));
    return client_request(0)->document;
}

TEST(APageReachesTheServer) {
    start_with_client();
    CHECK_OK(harvelstone_start_visit());
    CHECK_OK(harvelstone_page("home", "{\"section\":\"women\"}"));
    CHECK_OK(harvelstone_page("basket", NULL));

    const char* document = flushed_document();
    CHECK_HOLDS(document, "\"home\"");
    CHECK_HOLDS(document, "\"section\":\"women\"");
    CHECK_HOLDS(document, "\"basket\"");
}

TEST(APageRecordOfTheHostsMakingReachesTheServer) {
    start_with_client();
    CHECK_OK(harvelstone_page_record("{\"a\":1,\"b\":2.0,\"c\":true,\"d\":[null]}"));

    CHECK_HOLDS(flushed_document(), "\"b\":2.0,\"c\":true,\"d\":[null]");
}

TEST(PageProgressIsAddedUp) {
    start_with_client();
    CHECK_OK(harvelstone_page_progress(12.5, 2));
    CHECK_OK(harvelstone_page_progress(2.0, 1));

    const char* document = flushed_document();
    CHECK_HOLDS(document, "\"page_views\":3");
    CHECK_HOLDS(document, "\"visit_seconds\":14");
}

TEST(ClickRevenueAndPushReachTheServer) {
    start_with_client();
    CHECK_OK(harvelstone_click("{\"button\":\"buy\"}"));
    CHECK_OK(harvelstone_revenue("{\"amount\":9.5}"));
    CHECK_OK(harvelstone_push_opened("{\"message\":\"sale\"}"));

    const char* document = flushed_document();
    CHECK_HOLDS(document, "\"button\":\"buy\"");
    CHECK_HOLDS(document, "\"amount\":9.5");
    CHECK_HOLDS(document, "\"message\":\"sale\"");
}

TEST(AGoalTakesProductAndCategory) {
    start_with_client();
    CHECK_OK(harvelstone_set_product("p1", "Shoe"));
    CHECK_OK(harvelstone_set_product_category("c1", NULL));
    CHECK_OK(harvelstone_goal(3, 50));

    const char* document = flushed_document();
    CHECK_HOLDS(document, "\"g3\":50");
    CHECK_HOLDS(document, "\"Shoe\"");
}

TEST(EventsAndCampaignsAreCounted) {
    start_with_client();
    CHECK_OK(harvelstone_event("search", "query", "\"red shoes\""));
    CHECK_OK(harvelstone_event("search", "hits", "7"));
    CHECK_OK(harvelstone_campaign("banner", "spring", "7", "home"));

    check_ledger_holds(
        "\"event\":{\"assembled\":0,\"damaged\":0,\"dropped\":{},\"pending\":2,\"recorded\":2,\"sent\":0}");
    check_ledger_holds("\"campaign\":{\"assembled\":0,\"damaged\":0,\"dropped\":{},\"pending\":1,\"recorded\":1");
}

TEST(ProfileAndReferrerReachTheServer) {
    start_with_client();
    CHECK_OK(harvelstone_set_profile("{\"mbr\":\"member-7\"}"));
    CHECK_OK(harvelstone_install_referrer("{\"utm_source\":\"newsletter\"}"));
    CHECK_OK(harvelstone_app_opened());
    CHECK_OK(harvelstone_refresh_document());

    const char* document = flushed_document();
    CHECK_HOLDS(document, "member-7");
    CHECK_HOLDS(document, "newsletter");
}

TEST(AVisitThatEndedIsFollowedByANewDocument) {
    start_with_client();
    CHECK_OK(harvelstone_start_visit());
    CHECK(stored_documents() == 1);
    CHECK_OK(harvelstone_end_visit());
    CHECK_OK(harvelstone_start_visit());
    CHECK(stored_documents() == 2);
}

TEST(WithoutConsentNothingIsSent) {
    start_with_client();
    CHECK_OK(harvelstone_set_consent(false));
    CHECK_OK(harvelstone_flush(deadline, NULL));
    CHECK(client_request_count() == 0);

    CHECK_OK(harvelstone_set_consent(true));
    CHECK_OK(harvelstone_send());
    CHECK(client_request_count() >= 1);
}

TEST(ClickAndGoalAreSentAtOnce) {
    start_with_client();
    CHECK_OK(harvelstone_start_visit());
    CHECK_OK(harvelstone_send_click_immediately("{\"button\":\"buy\"}"));
    CHECK_OK(harvelstone_send_goal_immediately("{\"g1\":5}"));

    CHECK(client_request_count() == 2);
    CHECK_HOLDS(client_request(0)->document, "\"button\":\"buy\"");
    CHECK_HOLDS(client_request(1)->document, "\"g1\":5");
}

TEST(TheReceiptSaysWhatBecameOfTheDocuments) {
    start_with_client();
    CHECK_OK(harvelstone_click("{\"button\":\"buy\"}"));
    char* receipt = NULL;
    CHECK_OK(harvelstone_flush(deadline, &receipt));

    CHECK_HOLDS(receipt, "\"complete\":true");
    CHECK_HOLDS(receipt, "\"documents_dropped\":{}");
    CHECK_HOLDS(receipt, "\"documents_sent\":1,\"documents_still_stored\":1");
    CHECK_HOLDS(receipt, "\"ledger\":{\"documents\":{\"created\":2");
    harvelstone_free_text(receipt);
}

TEST(AByteThatIsNoUtf8IsReplaced) {
    start_with_client();
    CHECK_OK(harvelstone_page("caf\xC3\xA9 \xFF!", NULL));

    CHECK_HOLDS(flushed_document(), "\"caf\xC3\xA9 \xEF\xBF\xBD!\"");
}
