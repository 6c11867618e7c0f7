/* A host in C. usage: plain [TARGET] */
#include <stdio.h>

#include "harvelstone/api/harvelstone.h"

int main(int argc, char** argv) {
    harvelstone_options options = {.size = sizeof options};
    options.target_uri = argc > 1 ? argv[1] : "http://127.0.0.1:8080/documents";
    options.app_key = "shop";
    options.documents_folder = "shop-data";
    if (harvelstone_configure(&options) != HARVELSTONE_OK) {
        fprintf(stderr, "%s\n", harvelstone_last_error());
        return 1;
    }
    harvelstone_start_visit();
    harvelstone_install_referrer(NULL); /* there is none to wait for */
    harvelstone_page("home", "{\"section\": \"women\"}");
    harvelstone_click("{\"button\": \"buy\"}");

    char* receipt = NULL;
    harvelstone_flush(10000, &receipt);
    printf("%s\n", receipt);
    harvelstone_free_text(receipt);
    return 0;
}
