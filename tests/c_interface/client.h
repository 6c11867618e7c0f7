#ifndef HARVELSTONE_TESTS_C_INTERFACE_CLIENT_H
#define HARVELSTONE_TESTS_C_INTERFACE_CLIENT_H

/* An HTTP client of the host's own that keeps what it is to send, and answers at once or leaves that to the test. */

#include "harvelstone/api/harvelstone.h"

struct sent_request {
    harvelstone_exchange exchange;
    void* user_data;
    char url[128];
    char method[16];
    char headers[256]; /* "name: value" and a line feed each */
    char document[16384];
};

/* To be set before the first request: the body of each answer; NULL leaves the answer to the test. */
extern const char* client_answer;

void client_send(const harvelstone_http_request* request, harvelstone_exchange exchange, void* user_data);

int client_request_count(void);
const struct sent_request* client_request(int index);

/* Options with this client, an address, and the folder of the test. */
harvelstone_options options_with_client(void);
/* Configures them, and lets nothing hold up the first upload. */
void start_with_client(void);

#endif
