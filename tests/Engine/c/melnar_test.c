/* Calls every function of melnar.h from C11, like a program that knows no C++. Exits with 1 at the first claim that
 * does not hold. */
#include "melnar.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define REQUIRE(claim)                                                                                                 \
    do {                                                                                                               \
        if (!(claim)) {                                                                                                \
            fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #claim);                                        \
            exit(EXIT_FAILURE);                                                                                        \
        }                                                                                                              \
    } while (0)

static const melnar_options OPTIONS = {.memory_limit = (uint64_t)64 << 20, .maximum_number_of_resources = 100000};

static melnar_dictionary* make(void) {
    melnar_dictionary* dictionary = NULL;
    melnar_error error;
    REQUIRE(melnar_create(&OPTIONS, &dictionary, &error) == MELNAR_OK);
    REQUIRE(error.code == MELNAR_OK && error.index == MELNAR_NO_INDEX && error.message[0] == '\0');
    REQUIRE(dictionary != NULL);
    return dictionary;
}

static uint64_t size_of(const melnar_dictionary* dictionary) {
    uint64_t size = UINT64_MAX;
    REQUIRE(melnar_size(dictionary, &size, NULL) == MELNAR_OK);
    return size;
}

/* The text of a column. */
static int is_text(const melnar_column* column, size_t index, const char* text) {
    const size_t size = (size_t)(column->offsets[index + 1] - column->offsets[index]);
    return size == strlen(text) && memcmp(column->bytes + column->offsets[index], text, size) == 0;
}

static void test_names(void) {
    unsigned int major, minor, patch;
    REQUIRE(sscanf(melnar_version(), "%u.%u.%u", &major, &minor, &patch) == 3);
    REQUIRE(strcmp(melnar_code_name(MELNAR_OK), "MELNAR_OK") == 0);
    REQUIRE(strcmp(melnar_code_name(MELNAR_REFUSED), "MELNAR_REFUSED") == 0);
    REQUIRE(strcmp(melnar_code_name(MELNAR_NO_SUCH_RESOURCE), "MELNAR_NO_SUCH_RESOURCE") == 0);
    REQUIRE(strcmp(melnar_code_name(MELNAR_FULL), "MELNAR_FULL") == 0);
    REQUIRE(strcmp(melnar_code_name(MELNAR_MEMORY), "MELNAR_MEMORY") == 0);
    REQUIRE(strcmp(melnar_code_name(MELNAR_SYSTEM), "MELNAR_SYSTEM") == 0);
    REQUIRE(strcmp(melnar_code_name(MELNAR_DAMAGED_FILE), "MELNAR_DAMAGED_FILE") == 0);
    REQUIRE(strcmp(melnar_code_name(MELNAR_IN_USE), "MELNAR_IN_USE") == 0);
    REQUIRE(strcmp(melnar_code_name(MELNAR_MISUSE), "MELNAR_MISUSE") == 0);
    REQUIRE(strcmp(melnar_code_name(MELNAR_OTHER), "MELNAR_OTHER") == 0);
    REQUIRE(strcmp(melnar_code_name(99), "unknown") == 0);
}

static void test_columns(void) {
    melnar_dictionary* const dictionary = make();
    melnar_error error;
    const char* const texts[] = {"Germany", "France", "", "Germany"};
    uint64_t ids[4];
    REQUIRE(melnar_encode(dictionary, texts, NULL, 4, NULL, ids, &error) == MELNAR_OK);
    REQUIRE(ids[0] == 1 && ids[1] == 2 && ids[2] == 3 && ids[3] == 1);
    REQUIRE(size_of(dictionary) == 3);

    /* Texts with lengths may contain zero bytes, and an empty one may be a null pointer. */
    const char* const with_lengths[] = {"a\0b", NULL, "Germany!"};
    const size_t lengths[] = {3, 0, 7};
    REQUIRE(melnar_encode(dictionary, with_lengths, lengths, 3, "", ids, NULL) == MELNAR_OK);
    REQUIRE(ids[0] == 4 && ids[1] == 3 && ids[2] == 1);

    const char* const german[] = {"Deutschland"};
    REQUIRE(melnar_encode(dictionary, german, NULL, 1, "de", ids, &error) == MELNAR_OK);
    REQUIRE(ids[0] == 5);
    REQUIRE(melnar_encode(dictionary, german, NULL, 1, NULL, ids, &error) == MELNAR_OK);
    REQUIRE(ids[0] == 6);

    /* The same in Arrow's layout, also for a column that starts within the bytes. */
    const int32_t offsets32[] = {2, 9, 9, 15};
    REQUIRE(melnar_encode_arrow32(dictionary, "xxGermanyFrance", offsets32, 3, NULL, ids, &error) == MELNAR_OK);
    REQUIRE(ids[0] == 1 && ids[1] == 3 && ids[2] == 2);
    const int64_t offsets64[] = {0, 5, 12};
    REQUIRE(melnar_encode_arrow64(dictionary, "SpainGermany", offsets64, 2, NULL, ids, &error) == MELNAR_OK);
    REQUIRE(ids[0] == 7 && ids[1] == 1);

    /* Columns without entries need nothing. */
    REQUIRE(melnar_encode(dictionary, NULL, NULL, 0, NULL, NULL, &error) == MELNAR_OK);
    REQUIRE(melnar_encode_arrow32(dictionary, NULL, NULL, 0, NULL, NULL, &error) == MELNAR_OK);
    const int32_t zeros[] = {0, 0};
    REQUIRE(melnar_encode_arrow32(dictionary, NULL, zeros, 1, NULL, ids, &error) == MELNAR_OK);
    REQUIRE(ids[0] == 3);

    /* Lookups create nothing. */
    const char* const asked[] = {"France", "Atlantis"};
    REQUIRE(melnar_lookup(dictionary, MELNAR_UNCOMMITTED, asked, NULL, 2, NULL, ids, &error) == MELNAR_OK);
    REQUIRE(ids[0] == 2 && ids[1] == 0);
    REQUIRE(melnar_lookup(dictionary, MELNAR_UNCOMMITTED, german, NULL, 1, "de", ids, &error) == MELNAR_OK);
    REQUIRE(ids[0] == 5);
    REQUIRE(melnar_lookup_arrow32(dictionary, MELNAR_UNCOMMITTED, "xxGermanyFrance", offsets32, 3, NULL, ids, &error) ==
            MELNAR_OK);
    REQUIRE(ids[0] == 1 && ids[1] == 3 && ids[2] == 2);
    REQUIRE(melnar_lookup_arrow64(dictionary, MELNAR_UNCOMMITTED, "SpainGermany", offsets64, 2, NULL, ids, &error) ==
            MELNAR_OK);
    REQUIRE(ids[0] == 7 && ids[1] == 1);
    REQUIRE(size_of(dictionary) == 7);

    melnar_column column;
    const uint64_t asked_ids[] = {5, 4, 3, 7};
    REQUIRE(melnar_decode(dictionary, asked_ids, 4, &column, &error) == MELNAR_OK);
    REQUIRE(column.count == 4 && column.offsets[0] == 0);
    REQUIRE(is_text(&column, 0, "Deutschland") && is_text(&column, 2, "") && is_text(&column, 3, "Spain"));
    REQUIRE(column.offsets[2] - column.offsets[1] == 3 && memcmp(column.bytes + column.offsets[1], "a\0b", 3) == 0);
    melnar_column_free(&column);
    REQUIRE(column.count == 0 && column.bytes == NULL && column.offsets == NULL);
    melnar_column_free(&column);
    melnar_column_free(NULL);
    REQUIRE(melnar_decode(dictionary, NULL, 0, &column, &error) == MELNAR_OK);
    REQUIRE(column.count == 0 && column.offsets[0] == 0);
    melnar_column_free(&column);
    melnar_close(dictionary);
}

/* More entries than are processed together, of very different lengths. */
static void test_long_columns(void) {
    enum { COUNT = 5000 };
    melnar_dictionary* const dictionary = make();
    melnar_error error;
    char* const bytes = malloc(COUNT * 1000);
    int64_t* const offsets = malloc((COUNT + 1) * sizeof(int64_t));
    uint64_t* const ids = malloc(COUNT * sizeof(uint64_t));
    REQUIRE(bytes != NULL && offsets != NULL && ids != NULL);
    offsets[0] = 0;
    for (int entry = 0; entry < COUNT; ++entry) {
        char* const text = bytes + offsets[entry];
        int size = sprintf(text, "%d", entry);
        if (entry >= COUNT / 2)
            size += sprintf(text + size, "%0*d", entry % 900 + 1, 7);
        offsets[entry + 1] = offsets[entry] + size;
    }
    REQUIRE(melnar_encode_arrow64(dictionary, bytes, offsets, COUNT, "en", ids, &error) == MELNAR_OK);
    for (int entry = 0; entry < COUNT; ++entry)
        REQUIRE(ids[entry] == (uint64_t)entry + 1);
    melnar_column column;
    REQUIRE(melnar_decode(dictionary, ids, COUNT, &column, &error) == MELNAR_OK);
    REQUIRE(memcmp(column.offsets, offsets, (COUNT + 1) * sizeof(int64_t)) == 0);
    REQUIRE(memcmp(column.bytes, bytes, (size_t)offsets[COUNT]) == 0);
    melnar_column_free(&column);

    ids[3000] = 777777;
    REQUIRE(melnar_decode(dictionary, ids, COUNT, &column, &error) == MELNAR_NO_SUCH_RESOURCE);
    REQUIRE(error.index == 3000 && strstr(error.message, "777777") != NULL);
    REQUIRE(column.count == 0 && column.bytes == NULL && column.offsets == NULL);
    free(bytes);
    free(offsets);
    free(ids);
    melnar_close(dictionary);
}

static void test_commits(void) {
    melnar_dictionary* const dictionary = make();
    melnar_error error;
    const char* const first[] = {"first"};
    const char* const second[] = {"second"};
    uint64_t id;
    melnar_commit_point start, point, last;
    REQUIRE(melnar_get_commit_point(dictionary, &start, &error) == MELNAR_OK);
    REQUIRE(melnar_encode(dictionary, first, NULL, 1, NULL, &id, &error) == MELNAR_OK);
    REQUIRE(melnar_lookup(dictionary, start, first, NULL, 1, NULL, &id, &error) == MELNAR_OK && id == 0);
    REQUIRE(melnar_commit(dictionary, &point, &error) == MELNAR_OK);
    REQUIRE(point > start);
    REQUIRE(melnar_lookup(dictionary, point, first, NULL, 1, NULL, &id, &error) == MELNAR_OK && id == 1);
    REQUIRE(melnar_encode(dictionary, second, NULL, 1, NULL, &id, &error) == MELNAR_OK && id == 2);
    REQUIRE(melnar_rollback(dictionary, &error) == MELNAR_OK);
    REQUIRE(melnar_lookup(dictionary, MELNAR_UNCOMMITTED, second, NULL, 1, NULL, &id, &error) == MELNAR_OK && id == 0);
    REQUIRE(size_of(dictionary) == 1);
    REQUIRE(melnar_encode(dictionary, second, NULL, 1, NULL, &id, &error) == MELNAR_OK && id == 3);
    REQUIRE(melnar_commit(dictionary, NULL, NULL) == MELNAR_OK);
    REQUIRE(melnar_get_commit_point(dictionary, &last, &error) == MELNAR_OK && last > point);
    uint64_t bytes = 0;
    REQUIRE(melnar_memory_in_use(dictionary, &bytes, &error) == MELNAR_OK);
    REQUIRE(bytes > 0 && bytes <= OPTIONS.memory_limit);
    melnar_close(dictionary);
}

static void test_terms(void) {
    melnar_dictionary* const dictionary = make();
    melnar_error error;
    const melnar_term iri = {.kind = MELNAR_IRI, .text = "http://example.org/a", .text_length = 20};
    const melnar_term number = {.kind = MELNAR_LITERAL,
                                .text = "7",
                                .text_length = 1,
                                .datatype = "http://www.w3.org/2001/XMLSchema#integer",
                                .datatype_length = 40};
    const melnar_term tagged = {.kind = MELNAR_LITERAL,
                                .direction = MELNAR_RIGHT_TO_LEFT,
                                .text = "text",
                                .text_length = 4,
                                .language = "ar",
                                .language_length = 2};
    uint64_t ids[3], id;
    REQUIRE(melnar_encode_term(dictionary, &iri, &ids[0], &error) == MELNAR_OK);
    REQUIRE(melnar_encode_term(dictionary, &number, &ids[1], &error) == MELNAR_OK);
    REQUIRE(melnar_encode_term(dictionary, &tagged, &ids[2], &error) == MELNAR_OK);
    REQUIRE(ids[0] == 1 && ids[1] == 2 && ids[2] == 3);
    REQUIRE(melnar_lookup_term(dictionary, MELNAR_UNCOMMITTED, &number, &id, &error) == MELNAR_OK && id == 2);
    REQUIRE(melnar_lookup_term(dictionary, 1, &number, &id, &error) == MELNAR_OK && id == 0);

    melnar_term term;
    REQUIRE(melnar_get(dictionary, 1, &term, &error) == MELNAR_OK);
    REQUIRE(term.kind == MELNAR_IRI && strcmp(term.text, "http://example.org/a") == 0 && term.text_length == 20);
    REQUIRE(strcmp(term.language, "") == 0 && strcmp(term.datatype, "") == 0);
    melnar_term_free(&term);
    REQUIRE(term.text == NULL);
    melnar_term_free(&term);
    melnar_term_free(NULL);
    REQUIRE(melnar_get(dictionary, 2, &term, &error) == MELNAR_OK);
    REQUIRE(term.kind == MELNAR_LITERAL && strcmp(term.text, "7") == 0);
    REQUIRE(term.datatype_length == 40 && memcmp(term.datatype, number.datatype, 41) == 0);
    melnar_term_free(&term);
    REQUIRE(melnar_get(dictionary, 3, &term, &error) == MELNAR_OK);
    REQUIRE(term.direction == MELNAR_RIGHT_TO_LEFT && term.language_length == 2 && strcmp(term.language, "ar") == 0);
    melnar_term_free(&term);

    melnar_column column;
    REQUIRE(melnar_decode(dictionary, ids, 3, &column, &error) == MELNAR_OK);
    REQUIRE(is_text(&column, 0, "http://example.org/a") && is_text(&column, 1, "7") && is_text(&column, 2, "text"));
    melnar_column_free(&column);

    REQUIRE(melnar_get(dictionary, 4, &term, &error) == MELNAR_NO_SUCH_RESOURCE);
    REQUIRE(term.text == NULL && error.code == MELNAR_NO_SUCH_RESOURCE && error.message[0] != '\0');
    melnar_term wrong = number;
    wrong.language = "de";
    wrong.language_length = 2;
    id = 7;
    REQUIRE(melnar_encode_term(dictionary, &wrong, &id, &error) == MELNAR_REFUSED && id == 0);
    wrong.kind = 9;
    REQUIRE(melnar_encode_term(dictionary, &wrong, &id, &error) == MELNAR_MISUSE);
    wrong = tagged;
    wrong.direction = 3;
    REQUIRE(melnar_lookup_term(dictionary, MELNAR_UNCOMMITTED, &wrong, &id, &error) == MELNAR_MISUSE);
    wrong = tagged;
    wrong.text = NULL;
    REQUIRE(melnar_encode_term(dictionary, &wrong, &id, &error) == MELNAR_MISUSE);
    REQUIRE(size_of(dictionary) == 3);
    melnar_close(dictionary);
}

static void test_files(const char* file_name) {
    melnar_dictionary* dictionary = make();
    melnar_error error;
    const char* const texts[] = {"saved"};
    uint64_t id;
    REQUIRE(melnar_encode(dictionary, texts, NULL, 1, NULL, &id, &error) == MELNAR_OK);
    REQUIRE(melnar_commit(dictionary, NULL, &error) == MELNAR_OK);
    REQUIRE(melnar_save(dictionary, file_name, &error) == MELNAR_OK);
    REQUIRE(melnar_save(dictionary, "/nowhere/at/all", &error) == MELNAR_SYSTEM);
    REQUIRE(error.message[0] != '\0');
    melnar_close(dictionary);
    REQUIRE(melnar_open(file_name, &OPTIONS, &dictionary, &error) == MELNAR_OK);
    REQUIRE(melnar_lookup(dictionary, MELNAR_UNCOMMITTED, texts, NULL, 1, NULL, &id, &error) == MELNAR_OK && id == 1);
    melnar_close(dictionary);

    FILE* const file = fopen(file_name, "r+b");
    REQUIRE(file != NULL && fseek(file, 100, SEEK_SET) == 0 && fputc(0x55, file) == 0x55 && fclose(file) == 0);
    REQUIRE(melnar_open(file_name, &OPTIONS, &dictionary, &error) == MELNAR_DAMAGED_FILE);
    REQUIRE(dictionary == NULL && strstr(error.message, file_name) != NULL);
    REQUIRE(remove(file_name) == 0);
    REQUIRE(melnar_open(file_name, &OPTIONS, &dictionary, &error) == MELNAR_SYSTEM && dictionary == NULL);
    melnar_close(NULL);
}

static void test_limits(void) {
    melnar_dictionary* dictionary;
    melnar_error error;
    melnar_options options = {.memory_limit = (uint64_t)64 << 20, .maximum_number_of_resources = 2};
    REQUIRE(melnar_create(&options, &dictionary, &error) == MELNAR_OK);
    const char* const texts[] = {"a", "b", "a", "c", "d"};
    uint64_t ids[5] = {9, 9, 9, 9, 9};
    REQUIRE(melnar_encode(dictionary, texts, NULL, 5, NULL, ids, &error) == MELNAR_FULL);
    REQUIRE(error.index == 3 && error.message[0] != '\0');
    REQUIRE(ids[0] == 1 && ids[1] == 2 && ids[2] == 1 && ids[3] == 0 && ids[4] == 0);
    melnar_close(dictionary);

    options.memory_limit = 4096;
    options.maximum_number_of_resources = 0;
    melnar_code code = melnar_create(&options, &dictionary, &error);
    REQUIRE(code == MELNAR_MEMORY && dictionary == NULL);
    options.memory_limit = 0;
    REQUIRE(melnar_create(&options, &dictionary, &error) == MELNAR_MISUSE);
    options.memory_limit = 1 << 20;
    options.maximum_number_of_resources = UINT64_MAX - 1;
    REQUIRE(melnar_create(&options, &dictionary, &error) == MELNAR_MISUSE && dictionary == NULL);

    options.memory_limit = (uint64_t)2 << 20;
    options.maximum_number_of_resources = 1000000;
    REQUIRE(melnar_create(&options, &dictionary, &error) == MELNAR_OK);
    char* const text = calloc(1, 2 << 20);
    REQUIRE(text != NULL);
    memset(text, 'x', 2000000);
    const char* const large[] = {"small", text};
    REQUIRE(melnar_encode(dictionary, large, NULL, 2, NULL, ids, &error) == MELNAR_MEMORY);
    REQUIRE(error.index == 1 && ids[0] == 1 && ids[1] == 0);
    free(text);
    melnar_close(dictionary);
}

static void test_misuse(void) {
    melnar_dictionary* const dictionary = make();
    melnar_dictionary* made = dictionary;
    melnar_error error;
    const char* const texts[] = {"text", NULL};
    const size_t lengths[] = {4, 1};
    const char bytes[] = "text";
    const int32_t offsets32[] = {0, 4, 2};
    const int64_t offsets64[] = {0, 4, 2};
    const int32_t negative32[] = {-1, 4};
    const int64_t negative64[] = {-1, 4};
    uint64_t ids[2] = {0, 0};
    uint64_t number;
    melnar_column column;
    melnar_term term = {.kind = MELNAR_IRI, .text = "urn:a", .text_length = 5};
    const melnar_commit_point all = MELNAR_UNCOMMITTED;

    REQUIRE(melnar_create(NULL, &made, &error) == MELNAR_MISUSE && made == NULL && error.code == MELNAR_MISUSE);
    REQUIRE(melnar_create(&OPTIONS, NULL, NULL) == MELNAR_MISUSE);
    REQUIRE(melnar_open(NULL, &OPTIONS, &made, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_open(NULL, &OPTIONS, NULL, NULL) == MELNAR_MISUSE);
    REQUIRE(melnar_open("x", NULL, &made, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_open("x", &OPTIONS, NULL, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_save(NULL, "x", &error) == MELNAR_MISUSE);
    REQUIRE(melnar_save(dictionary, NULL, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_size(NULL, &number, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_size(dictionary, NULL, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_memory_in_use(NULL, &number, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_memory_in_use(dictionary, NULL, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_commit(NULL, &number, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_rollback(NULL, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_get_commit_point(NULL, &number, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_get_commit_point(dictionary, NULL, &error) == MELNAR_MISUSE);

    REQUIRE(melnar_encode(NULL, texts, NULL, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode(dictionary, NULL, NULL, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode(dictionary, texts, NULL, 1, NULL, NULL, &error) == MELNAR_MISUSE);
    REQUIRE(error.index == MELNAR_NO_INDEX);
    REQUIRE(melnar_encode(dictionary, texts, NULL, 2, NULL, ids, &error) == MELNAR_MISUSE && error.index == 1);
    REQUIRE(melnar_encode(dictionary, texts, lengths, 2, NULL, ids, &error) == MELNAR_MISUSE && error.index == 1);
    REQUIRE(melnar_lookup(NULL, all, texts, NULL, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_lookup(dictionary, all, NULL, NULL, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_lookup(dictionary, all, texts, NULL, 1, NULL, NULL, &error) == MELNAR_MISUSE);

    REQUIRE(melnar_encode_arrow32(NULL, bytes, offsets32, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode_arrow32(dictionary, NULL, offsets32, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode_arrow32(dictionary, bytes, NULL, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode_arrow32(dictionary, bytes, offsets32, 1, NULL, NULL, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode_arrow32(dictionary, bytes, offsets32, 2, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(error.index == 1);
    REQUIRE(melnar_encode_arrow32(dictionary, bytes, negative32, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode_arrow64(NULL, bytes, offsets64, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode_arrow64(dictionary, bytes, offsets64, 2, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode_arrow64(dictionary, bytes, negative64, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_lookup_arrow32(NULL, all, bytes, offsets32, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_lookup_arrow32(dictionary, all, bytes, offsets32, 2, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_lookup_arrow64(NULL, all, bytes, offsets64, 1, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_lookup_arrow64(dictionary, all, bytes, offsets64, 2, NULL, ids, &error) == MELNAR_MISUSE);

    REQUIRE(melnar_decode(NULL, ids, 1, &column, &error) == MELNAR_MISUSE && column.bytes == NULL);
    REQUIRE(melnar_decode(dictionary, NULL, 1, &column, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_decode(dictionary, ids, 1, NULL, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_get(dictionary, 1, NULL, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode_term(NULL, &term, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode_term(dictionary, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_encode_term(dictionary, &term, NULL, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_lookup_term(NULL, all, &term, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_lookup_term(dictionary, all, NULL, ids, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_lookup_term(dictionary, all, &term, NULL, &error) == MELNAR_MISUSE);
    REQUIRE(melnar_get(NULL, 1, &term, &error) == MELNAR_MISUSE);

    /* If a tag could contain '@', a part of it would become a part of the text. */
    const char* const tags[] = {"de@en", "1", "-", "d e", "de-"};
    for (size_t tag = 0; tag < sizeof(tags) / sizeof(tags[0]); ++tag) {
        ids[0] = 9;
        REQUIRE(melnar_encode(dictionary, texts, NULL, 1, tags[tag], ids, &error) == MELNAR_REFUSED && ids[0] == 0);
        REQUIRE(error.index == MELNAR_NO_INDEX && strstr(error.message, tags[tag]) != NULL);
        REQUIRE(melnar_lookup(dictionary, all, texts, NULL, 1, tags[tag], ids, NULL) == MELNAR_REFUSED);
    }
    char long_tag[1000];
    memset(long_tag, '!', sizeof(long_tag) - 1);
    long_tag[sizeof(long_tag) - 1] = '\0';
    REQUIRE(melnar_encode(dictionary, texts, NULL, 1, long_tag, ids, &error) == MELNAR_REFUSED);
    REQUIRE(strlen(error.message) == sizeof(error.message) - 1);
    REQUIRE(size_of(dictionary) == 0);
    melnar_close(dictionary);
}

int main(int argc, char** argv) {
    REQUIRE(argc == 2); /* the name of a file that may be written */
    test_names();
    test_columns();
    test_long_columns();
    test_commits();
    test_terms();
    test_files(argv[1]);
    test_limits();
    test_misuse();
    puts("All claims hold.");
    return EXIT_SUCCESS;
}
