#ifndef HARVELSTONE_TESTS_C_INTERFACE_TESTING_H
#define HARVELSTONE_TESTS_C_INTERFACE_TESTING_H

/* Tests in C99, each in a process of its own over a folder of its own. */

#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct test {
    const char* name;
    void (*run)(void);
    struct test* next;
};

void add_test(struct test* test);

#define TEST(test_name)                                                    \
    static void test_name(void);                                           \
    __attribute__((constructor)) static void add_##test_name(void) {       \
        static struct test entry = {.name = #test_name, .run = test_name}; \
        add_test(&entry);                                                  \
    }                                                                      \
    static void test_name(void)

#define FAIL_HERE(...)                                  \
    do {                                                \
        fprintf(stderr, "%s:%d: ", __FILE__, __LINE__); \
        fprintf(stderr, __VA_ARGS__);                   \
        fputc('\n', stderr);                            \
        exit(1);                                        \
    } while (0)

#define CHECK(condition)                                       \
    do {                                                       \
        if (!(condition)) FAIL_HERE("not so: %s", #condition); \
    } while (0)

#define CHECK_OK(call)                                                                      \
    do {                                                                                    \
        if ((call) != HARVELSTONE_OK) FAIL_HERE("%s: %s", #call, harvelstone_last_error()); \
    } while (0)

/* The call is refused, and the reason says this. */
#define CHECK_REFUSED(call, part)                      \
    do {                                               \
        CHECK((call) == HARVELSTONE_INVALID_ARGUMENT); \
        CHECK_HOLDS(harvelstone_last_error(), part);   \
    } while (0)

#define CHECK_HOLDS(text, part)                                                                  \
    do {                                                                                         \
        const char* shown = (text);                                                              \
        if (strstr(shown, (part)) == NULL) FAIL_HERE("\"%s\" is missing in: %s", (part), shown); \
    } while (0)

/* Waits until the condition holds, ten seconds at most. */
#define CHECK_SOON(condition)                                         \
    do {                                                              \
        int rounds = 0;                                               \
        while (!(condition) && ++rounds < 2000) pause_for_a_moment(); \
        CHECK(condition);                                             \
    } while (0)
void pause_for_a_moment(void);

/* The Documents folder of this test, empty at first. */
const char* documents_folder(void);
/* How many documents lie in the storage folder. */
int stored_documents(void);

#endif
