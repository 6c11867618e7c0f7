#define _XOPEN_SOURCE 700

#include "tests/c_interface/client.h"

#include <pthread.h>
#include <zlib.h>

#include "tests/c_interface/testing.h"

enum { most_requests = 8 };

const char* client_answer = "{}";

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static struct sent_request requests[most_requests];
static int request_count;

static void unzip(const harvelstone_http_request* request, char* text, size_t size) {
    z_stream stream = {0};
    const int gzip = 16 + MAX_WBITS;
    CHECK(inflateInit2(&stream, gzip) == Z_OK);
    stream.next_in = (Bytef*)(uintptr_t)request->body;
    stream.avail_in = (uInt)request->body_size;
    stream.next_out = (Bytef*)text;
    stream.avail_out = (uInt)size - 1;
    CHECK(inflate(&stream, Z_FINISH) == Z_STREAM_END);
    text[stream.total_out] = '\0';
    inflateEnd(&stream);
}

static void percent_decode(char* text) {
    char* end = text;
    for (const char* next = text; *next != '\0'; ++next) {
        if (*next == '%') {
            const char digits[] = {next[1], next[2], '\0'};
            *end++ = (char)strtol(digits, NULL, 16);
            next += 2;
        } else {
            *end++ = *next;
        }
    }
    *end = '\0';
}

static void keep(struct sent_request* kept, const harvelstone_http_request* request) {
    snprintf(kept->url, sizeof kept->url, "%s", request->url);
    snprintf(kept->method, sizeof kept->method, "%s", request->method);
    for (size_t i = 0; i < request->header_count; ++i) {
        const size_t length = strlen(kept->headers);
        snprintf(kept->headers + length, sizeof kept->headers - length, "%s: %s\n", request->headers[i].name,
                 request->headers[i].value);
    }
    unzip(request, kept->document, sizeof kept->document);
    percent_decode(kept->document);
}

void client_send(const harvelstone_http_request* request, harvelstone_exchange exchange, void* user_data) {
    CHECK(request->size == sizeof *request);
    pthread_mutex_lock(&mutex);
    CHECK(request_count < most_requests);
    struct sent_request* kept = &requests[request_count];
    kept->exchange = exchange;
    kept->user_data = user_data;
    keep(kept, request);
    ++request_count;
    pthread_mutex_unlock(&mutex);
    if (client_answer != NULL) CHECK_OK(harvelstone_http_answer(exchange, 200, client_answer, strlen(client_answer)));
}

int client_request_count(void) {
    pthread_mutex_lock(&mutex);
    const int count = request_count;
    pthread_mutex_unlock(&mutex);
    return count;
}

const struct sent_request* client_request(int index) {
    CHECK(index < client_request_count());
    return &requests[index];
}

harvelstone_options options_with_client(void) {
    const harvelstone_options options = {.size = sizeof options,
                                         .target_uri = "https://collect.example.com/documents",
                                         .app_key = "shop",
                                         .documents_folder = documents_folder(),
                                         .send_request = client_send};
    return options;
}

void start_with_client(void) {
    const harvelstone_options options = options_with_client();
    CHECK_OK(harvelstone_configure(&options));
    CHECK_OK(harvelstone_install_referrer(NULL));
}
