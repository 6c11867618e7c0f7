/* A host in C. usage: shop ADDRESS */
#include <harvelstone/api/harvelstone.h>
#include <stdio.h>

int main(int count, char** arguments) {
    if (count != 2) return 2;
    harvelstone_options options = {.size = sizeof options};
    options.target_uri = arguments[1];
    options.app_key = "shop";
    options.documents_folder = "shop-data";
    if (harvelstone_configure(&options) != HARVELSTONE_OK) {
        fprintf(stderr, "%s\n", harvelstone_last_error());
        return 1;
    }
    harvelstone_start_visit();
    harvelstone_install_referrer(NULL);
    harvelstone_page("home", "{\"section\": \"women\"}");
    harvelstone_click("{\"button\": \"buy\"}");

    char* receipt = NULL;
    if (harvelstone_flush(10000, &receipt) != HARVELSTONE_OK) return 1;
    printf("%s: %s\n", harvelstone_version(), receipt);
    harvelstone_free_text(receipt);
    return 0;
}
