/* A C program that uses only the installed libraries. */
#include <melnar.h>

#include <stdio.h>
#include <string.h>

int main(void) {
    melnar_error error;
    melnar_dictionary* dictionary;
    const melnar_options options = {.memory_limit = (uint64_t)64 << 20};
    if (melnar_create(&options, &dictionary, &error) != MELNAR_OK) {
        fprintf(stderr, "%s: %s\n", melnar_code_name(error.code), error.message);
        return 1;
    }
    const char* const texts[] = {"Germany", "France", "Germany"};
    uint64_t ids[3] = {0};
    melnar_column column;
    int isRight = melnar_encode(dictionary, texts, NULL, 3, NULL, ids, &error) == MELNAR_OK && ids[0] == 1 &&
                  ids[1] == 2 && ids[2] == 1 && melnar_decode(dictionary, ids, 2, &column, &error) == MELNAR_OK;
    if (isRight) {
        isRight = column.offsets[2] == 13 && memcmp(column.bytes, "GermanyFrance", 13) == 0;
        melnar_column_free(&column);
    }
    melnar_close(dictionary);
    return isRight ? 0 : 1;
}
