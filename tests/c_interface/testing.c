/* usage: c_interface_test TEST */
#define _XOPEN_SOURCE 700

#include "tests/c_interface/testing.h"

#include <dirent.h>
#include <ftw.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static struct test* tests;
static char folder[] = "/tmp/harvelstone-c-XXXXXX";

void add_test(struct test* test) {
    test->next = tests;
    tests = test;
}

void pause_for_a_moment(void) {
    const struct timespec moment = {.tv_nsec = 5000000};
    nanosleep(&moment, NULL);
}

const char* documents_folder(void) { return folder; }

int stored_documents(void) {
    const size_t session_id_length = 32;
    char path[64];
    snprintf(path, sizeof path, "%s/harvelstone", folder);
    DIR* storage = opendir(path);
    CHECK(storage != NULL);
    int count = 0;
    for (struct dirent* entry = readdir(storage); entry != NULL; entry = readdir(storage)) {
        const char* underscore = strchr(entry->d_name, '_');
        if (underscore != NULL && (size_t)(underscore - entry->d_name) == session_id_length) ++count;
    }
    closedir(storage);
    return count;
}

static int remove_entry(const char* path, const struct stat* status, int kind, struct FTW* place) {
    (void)status, (void)kind, (void)place;
    return remove(path);
}

/* In a child, so that the folder goes however the test ends. */
static int run(const struct test* test) {
    if (mkdtemp(folder) == NULL) return 2;
    const pid_t child = fork();
    if (child == 0) {
        test->run();
        exit(0);
    }
    int status = 1;
    waitpid(child, &status, 0);
    nftw(folder, remove_entry, 8, FTW_DEPTH | FTW_PHYS);
    if (WIFSIGNALED(status)) fprintf(stderr, "ended by signal %d\n", WTERMSIG(status));
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

int main(int count, char** arguments) {
    for (const struct test* test = tests; test != NULL && count == 2; test = test->next)
        if (strcmp(test->name, arguments[1]) == 0) return run(test);
    fprintf(stderr, "no such test\n");
    return 2;
}
