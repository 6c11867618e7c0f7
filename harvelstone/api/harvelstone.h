#ifndef HARVELSTONE_API_HARVELSTONE_H
#define HARVELSTONE_API_HARVELSTONE_H

/**
 * @file
 * The C face of harvelstone, in C99, for hosts in other languages. What each operation does stands at the operation of
 * the same name in Analytics.hpp; docs/c-interface.md has the whole in one place, with an example.
 *
 * Every function may be called from any thread, and none raises. Those that can fail return a status;
 * harvelstone_last_error then says why. Text is UTF-8 and ends with NUL; a byte that is no UTF-8 becomes U+FFFD.
 * A parameter whose name ends in _json takes JSON text, and records and profiles are JSON objects; text that is no
 * valid JSON is refused. What a call is given is the caller's again once the call has returned.
 *
 * A callback may be called on any thread, and on several at once. It must return: raising, jumping out or ending the
 * thread is not allowed.
 */

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#define HARVELSTONE_VERSION_MAJOR 0
#define HARVELSTONE_VERSION_MINOR 1
#define HARVELSTONE_VERSION_PATCH 0
/** To compare versions: 10203 is 1.2.3. */
#define HARVELSTONE_VERSION \
    (HARVELSTONE_VERSION_MAJOR * 10000 + HARVELSTONE_VERSION_MINOR * 100 + HARVELSTONE_VERSION_PATCH)

#define HARVELSTONE_C_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
#define HARVELSTONE_NOEXCEPT noexcept
extern "C" {
#else
#define HARVELSTONE_NOEXCEPT
#endif

/* ---- Outcomes ---- */

typedef int32_t harvelstone_status;
enum {
    HARVELSTONE_OK = 0,
    HARVELSTONE_INVALID_ARGUMENT = 1, /**< nothing was recorded or changed */
    HARVELSTONE_OUT_OF_MEMORY = 2,
    HARVELSTONE_FAILED = 3 /**< any other failure: one of ours, or of the machine */
};

/** Why the last call on this thread that failed did so; "" before the first failure. Ours, and there until the next
   call on this thread that fails. */
HARVELSTONE_C_EXPORT const char* harvelstone_last_error(void) HARVELSTONE_NOEXCEPT;

/** The version of the library that is loaded, for example "1.2.3", and as HARVELSTONE_VERSION has it. */
HARVELSTONE_C_EXPORT const char* harvelstone_version(void) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT int32_t harvelstone_version_number(void) HARVELSTONE_NOEXCEPT;

/** Gives back a text that a function here has made; NULL is nothing. */
HARVELSTONE_C_EXPORT void harvelstone_free_text(char* text) HARVELSTONE_NOEXCEPT;

/* ---- Callbacks ---- */

typedef int32_t harvelstone_log_kind;
enum {
    HARVELSTONE_LOG_PLATFORM = 0, /**< said whatever the debug setting */
    HARVELSTONE_LOG_DEBUG = 1
};

/** Takes one line of the log, without line feed. The line is there until the callback returns. */
typedef void (*harvelstone_log_callback)(harvelstone_log_kind kind, const char* line, void* user_data);

/** Work for the main queue. Each is run or dropped once; 0 is none. */
typedef uint64_t harvelstone_task;

/** Has harvelstone_run_task called on the host's main thread once the delay has passed. Must not wait for it. */
typedef void (*harvelstone_main_queue_callback)(harvelstone_task task, double delay_seconds, void* user_data);

/** Runs what a main queue was given. A task that was run or dropped before, or that belongs to the process that this
   one was forked from, is refused. */
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_run_task(harvelstone_task task) HARVELSTONE_NOEXCEPT;
/** For a queue that comes to its end with tasks in it. */
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_drop_task(harvelstone_task task) HARVELSTONE_NOEXCEPT;

typedef struct harvelstone_http_header {
    const char* name;
    const char* value;
} harvelstone_http_header;

/** A request to be sent as it is. Everything in it is there until the callback returns. */
typedef struct harvelstone_http_request {
    size_t size; /**< of this struct in the library, which may be a newer one */
    const char* url;
    const char* method;
    const harvelstone_http_header* headers;
    size_t header_count;
    const void* body;
    size_t body_size;
} harvelstone_http_request;

/** A request under way. Each is answered once; 0 is none. */
typedef uint64_t harvelstone_exchange;

/** Starts the request with the host's own client and returns at once. The answer comes by harvelstone_http_answer or
   harvelstone_http_fail, at any time, on any thread, inside the callback too; without one the library waits for ever
   and sends no more. Verify the server, keep no cookies, and give up on a server that does not answer. */
typedef void (*harvelstone_http_callback)(const harvelstone_http_request* request, harvelstone_exchange exchange,
                                          void* user_data);

/** The server answered: its status, and its body as it came, of any bytes. A body above 64 KiB counts as no answer. */
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_http_answer(harvelstone_exchange exchange, int32_t http_status,
                                                                const void* body,
                                                                size_t body_size) HARVELSTONE_NOEXCEPT;
/** There was no answer. */
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_http_fail(harvelstone_exchange exchange,
                                                              const char* reason) HARVELSTONE_NOEXCEPT;

/* ---- Settings ---- */

typedef int32_t harvelstone_choice;
enum { HARVELSTONE_UNSET = 0, HARVELSTONE_NO = 1, HARVELSTONE_YES = 2 };

typedef int32_t harvelstone_main_queue;
enum {
    HARVELSTONE_MAIN_QUEUE_OWN_THREAD = 0,
    HARVELSTONE_MAIN_QUEUE_PUMPED = 1 /**< by harvelstone_run_main_queue; refused after any other call */
};

/** The settings of an app, as in AnalyticsOptions. Start from zeros, with the size set:

       harvelstone_options options = {.size = sizeof options};

   What is left zero keeps the value of the last start, or its default. */
typedef struct harvelstone_options {
    size_t size; /**< of this struct in the host: it may be an older or a newer one than the library's */

    const char* target_uri;
    const char* certificate_authorities;
    const char* app_key;
    const char* app_version;
    const char* advertising_id;
    const char* vendor_id;
    const char* user_id;
    const char* imei;
    const char* documents_folder;

    const int64_t* return_visit_days; /**< a pointer, because 0 is a number of days, too */
    int64_t visit_timeout_seconds;

    harvelstone_choice advertising_id_allowed;
    harvelstone_choice consent;
    harvelstone_choice debug;
    harvelstone_main_queue main_queue;

    harvelstone_log_callback log; /**< instead of standard error */
    void* log_user_data;
    harvelstone_main_queue_callback run_on_main_queue; /**< instead of either kind of `main_queue` */
    void* main_queue_user_data;
    harvelstone_http_callback send_request; /**< instead of the library's own client */
    void* http_user_data;
} harvelstone_options;

HARVELSTONE_C_EXPORT harvelstone_status harvelstone_configure(const harvelstone_options* options) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_set_profile(const char* values_json) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_set_consent(bool granted) HARVELSTONE_NOEXCEPT;

/* ---- Visits ---- */

HARVELSTONE_C_EXPORT harvelstone_status harvelstone_start_visit(void) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_end_visit(void) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_app_opened(void) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_refresh_document(void) HARVELSTONE_NOEXCEPT;

/* ---- Records, into the newest document ---- */

/** The details may be NULL: none. */
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_page(const char* name,
                                                         const char* details_json) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_page_record(const char* record_json) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_page_progress(double visit_seconds,
                                                                  int64_t page_views) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_click(const char* record_json) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_revenue(const char* record_json) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_push_opened(const char* record_json) HARVELSTONE_NOEXCEPT;

/** The names may be NULL: none. */
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_set_product(const char* code,
                                                                const char* name) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_set_product_category(const char* code,
                                                                         const char* name) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_goal(int64_t number, int64_t value) HARVELSTONE_NOEXCEPT;
/** The value is JSON of any kind but null: a text stands in quotation marks. */
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_event(const char* type, const char* name,
                                                          const char* value_json) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_campaign(const char* type, const char* name, const char* value_json,
                                                             const char* referrer) HARVELSTONE_NOEXCEPT;

/** NULL: there is no referrer to wait for. */
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_install_referrer(const char* values_json) HARVELSTONE_NOEXCEPT;

/* ---- Sending ---- */

HARVELSTONE_C_EXPORT harvelstone_status harvelstone_send(void) HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_send_click_immediately(const char* record_json)
    HARVELSTONE_NOEXCEPT;
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_send_goal_immediately(const char* record_json) HARVELSTONE_NOEXCEPT;

/** Sends and waits until no upload is under way or so much time has passed; then it reads the ledger, which that time
   does not bound. The receipt may be NULL: not wanted. Else it is set to a JSON text, to be given back by
   harvelstone_free_text; or to NULL when the call fails:

       {"complete": true, "documents_sent": 1, "documents_still_stored": 1, "documents_dropped": {"expired": 2},
        "ledger": {...}} */
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_flush(int64_t deadline_milliseconds,
                                                          char** receipt_json) HARVELSTONE_NOEXCEPT;

/** What became of every document and record so far, as a JSON text to be given back by harvelstone_free_text; NULL when
   the call fails. Of records, those kinds alone that occurred:

       {"documents": {"created": 2, "sent": 1, "retired": {}, "pending": 1},
        "records": {"click": {"recorded": 3, "assembled": 2, "pending": 1, "sent": 2, "dropped": {}, "damaged": 0}}} */
HARVELSTONE_C_EXPORT harvelstone_status harvelstone_ledger(char** ledger_json) HARVELSTONE_NOEXCEPT;

HARVELSTONE_C_EXPORT harvelstone_status harvelstone_run_main_queue(void) HARVELSTONE_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
