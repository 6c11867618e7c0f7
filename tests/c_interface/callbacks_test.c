/* Log, main queue and HTTP client of the host's own. */
#define _XOPEN_SOURCE 700

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/c_interface/client.h"
#include "tests/c_interface/testing.h"

static const int64_t deadline = 20000;

static void flush_and_check(const char* part) {
    char* receipt = NULL;
    CHECK_OK(harvelstone_flush(deadline, &receipt));
    CHECK_HOLDS(receipt, part);
    harvelstone_free_text(receipt);
}

/* ---- Log ---- */

static pthread_mutex_t log_mutex = PTHREAD_MUTEX_INITIALIZER;

struct seen_lines {
    int debug;
    int requests;
};

static void count_line(harvelstone_log_kind kind, const char* line, void* user_data) {
    struct seen_lines* seen = user_data;
    pthread_mutex_lock(&log_mutex);
    if (kind == HARVELSTONE_LOG_DEBUG) ++seen->debug;
    if (strstr(line, "[SDK REQUEST URL] https://collect.example.com/documents") != NULL) ++seen->requests;
    pthread_mutex_unlock(&log_mutex);
}

TEST(TheLogGoesToTheHost) {
    struct seen_lines seen = {0};
    harvelstone_options options = options_with_client();
    options.debug = HARVELSTONE_YES;
    options.log = count_line;
    options.log_user_data = &seen;
    CHECK_OK(harvelstone_configure(&options));
    CHECK_OK(harvelstone_install_referrer(NULL));
    CHECK_OK(harvelstone_flush(deadline, NULL));
    pthread_mutex_lock(&log_mutex);
    CHECK(seen.requests == 1);
    CHECK(seen.debug > seen.requests);
    pthread_mutex_unlock(&log_mutex);
    _exit(0); /* what is logged from now on has no place to go */
}

/* ---- Main queue ---- */

struct planned {
    harvelstone_task task;
    double delay;
    int count;
};

static void plan(harvelstone_task task, double delay_seconds, void* user_data) {
    struct planned* planned = user_data;
    pthread_mutex_lock(&log_mutex);
    planned->task = task;
    planned->delay = delay_seconds;
    ++planned->count;
    pthread_mutex_unlock(&log_mutex);
}

static int planned_count(const struct planned* planned) {
    pthread_mutex_lock(&log_mutex);
    const int count = planned->count;
    pthread_mutex_unlock(&log_mutex);
    return count;
}

static void send_one_document(struct planned* planned) {
    harvelstone_options options = options_with_client();
    options.run_on_main_queue = plan;
    options.main_queue_user_data = planned;
    CHECK_OK(harvelstone_configure(&options));
    CHECK_OK(harvelstone_install_referrer(NULL));
    flush_and_check("\"documents_sent\":1");
    CHECK(planned_count(planned) == 1);
    CHECK(planned->delay == 1.0);
    CHECK(stored_documents() == 2);
}

TEST(TheHostRunsWhatBelongsOnTheMainQueue) {
    static struct planned planned;
    send_one_document(&planned);
    CHECK_OK(harvelstone_run_task(planned.task));
    CHECK(stored_documents() == 1);
    CHECK_REFUSED(harvelstone_run_task(planned.task), "no such task");
}

TEST(ATaskThatIsDroppedIsNotRun) {
    static struct planned planned;
    send_one_document(&planned);
    CHECK_OK(harvelstone_drop_task(planned.task));
    CHECK_REFUSED(harvelstone_run_task(planned.task), "no such task");
    CHECK_REFUSED(harvelstone_drop_task(planned.task), "no such task");
    CHECK(stored_documents() == 2);
}

TEST(TheHostMayPumpTheMainQueue) {
    harvelstone_options options = options_with_client();
    options.main_queue = HARVELSTONE_MAIN_QUEUE_PUMPED;
    CHECK_OK(harvelstone_configure(&options));
    CHECK_OK(harvelstone_install_referrer(NULL));
    flush_and_check("\"documents_sent\":1");
    CHECK(stored_documents() == 2);
    CHECK_SOON(harvelstone_run_main_queue() == HARVELSTONE_OK && stored_documents() == 1);
}

/* ---- HTTP client ---- */

TEST(TheRequestIsShownToTheHost) {
    static int mark;
    harvelstone_options options = options_with_client();
    options.http_user_data = &mark;
    CHECK_OK(harvelstone_configure(&options));
    CHECK_OK(harvelstone_install_referrer(NULL));
    CHECK_OK(harvelstone_flush(deadline, NULL));

    const struct sent_request* request = client_request(0);
    CHECK(request->user_data == &mark);
    CHECK(strcmp(request->url, "https://collect.example.com/documents") == 0);
    CHECK(strcmp(request->method, "POST") == 0);
    CHECK_HOLDS(request->headers, "Content-Type: application/octet-stream\nContent-Encoding: gzip\nContent-Length: ");
}

static void* answer(void* exchange) {
    CHECK_OK(harvelstone_http_answer(*(const harvelstone_exchange*)exchange, 200, NULL, 0));
    return NULL;
}

TEST(AnAnswerMayComeLaterFromAnyThread) {
    client_answer = NULL;
    start_with_client();
    CHECK_OK(harvelstone_send());
    CHECK(client_request_count() == 1);
    CHECK_OK(harvelstone_set_consent(false)); /* one request is enough */
    harvelstone_exchange exchange = client_request(0)->exchange;
    pthread_t thread;
    CHECK(pthread_create(&thread, NULL, answer, &exchange) == 0);
    pthread_join(thread, NULL);
    flush_and_check("\"ledger\":{\"documents\":{\"created\":2,\"pending\":1,\"retired\":{},\"sent\":1}");
}

TEST(AnAnswerIsReadAsTheServersInstructions) {
    client_answer = "{\"send_allowed\":false}";
    start_with_client();
    flush_and_check("\"documents_sent\":1");
    CHECK_OK(harvelstone_flush(deadline, NULL));
    CHECK(client_request_count() == 1);
}

TEST(AnExchangeIsAnsweredOnce) {
    client_answer = NULL;
    start_with_client();
    CHECK_OK(harvelstone_send());
    CHECK_OK(harvelstone_set_consent(false)); /* one request is enough */
    const harvelstone_exchange exchange = client_request(0)->exchange;
    CHECK_REFUSED(harvelstone_http_answer(exchange, 200, NULL, 1), "the body is NULL");
    CHECK_OK(harvelstone_http_answer(exchange, 200, "{}", 2));
    CHECK_REFUSED(harvelstone_http_answer(exchange, 200, "{}", 2), "no such exchange");
    CHECK_REFUSED(harvelstone_http_fail(exchange, "late"), "no such exchange");
    CHECK_REFUSED(harvelstone_http_fail(0, "none"), "no such exchange");
    CHECK_OK(harvelstone_flush(deadline, NULL));
}

static void check_transport_failed(void) {
    char* ledger = NULL;
    CHECK_OK(harvelstone_flush(deadline, NULL));
    CHECK_OK(harvelstone_ledger(&ledger));
    CHECK_HOLDS(ledger, "\"retired\":{\"transport_failed\":1}");
    harvelstone_free_text(ledger);
}

TEST(AnExchangeThatFailsIsATransportThatFailed) {
    client_answer = NULL;
    start_with_client();
    CHECK_OK(harvelstone_send());
    CHECK_OK(harvelstone_set_consent(false)); /* one request is enough */
    CHECK_OK(harvelstone_http_fail(client_request(0)->exchange, "no route"));
    check_transport_failed();
}

TEST(AnAnswerThatIsTooBigIsNone) {
    enum { too_big = 64 * 1024 + 1 };
    client_answer = NULL;
    start_with_client();
    CHECK_OK(harvelstone_send());
    CHECK_OK(harvelstone_set_consent(false));
    char* body = malloc(too_big);
    memset(body, ' ', too_big);
    CHECK_OK(harvelstone_http_answer(client_request(0)->exchange, 200, body, too_big));
    free(body);
    check_transport_failed();
}

TEST(AChildHasNoExchangeOfItsParents) {
    client_answer = NULL;
    start_with_client();
    CHECK_OK(harvelstone_send());
    const harvelstone_exchange exchange = client_request(0)->exchange;
    const pid_t child = fork();
    if (child == 0) _exit(harvelstone_http_answer(exchange, 200, "{}", 2));
    int status = 0;
    waitpid(child, &status, 0);
    CHECK(WIFEXITED(status) && WEXITSTATUS(status) == HARVELSTONE_INVALID_ARGUMENT);
    CHECK_OK(harvelstone_http_answer(exchange, 200, "{}", 2));
}
