#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <serd/serd.h>

// Measures reading alone: serd's reader in its strict mode counts the statements of a file, and nothing is written.
// Prints the number of statements and the seconds.

namespace {

SerdStatus countStatement(void* const handle, SerdStatementFlags, const SerdNode*, const SerdNode*, const SerdNode*,
                          const SerdNode*, const SerdNode*, const SerdNode*) {
    ++*static_cast<uint64_t*>(handle);
    return SERD_SUCCESS;
}

SerdSyntax guessSyntax(const char* const fileName) {
    const char* const extension = std::strrchr(fileName, '.');
    if (extension != nullptr && std::strcmp(extension, ".ttl") == 0)
        return SERD_TURTLE;
    if (extension != nullptr && std::strcmp(extension, ".nq") == 0)
        return SERD_NQUADS;
    if (extension != nullptr && std::strcmp(extension, ".trig") == 0)
        return SERD_TRIG;
    return SERD_NTRIPLES;
}

} // namespace

int main(const int argc, const char* const* const argv) {
    std::FILE* const file = argc == 2 ? std::fopen(argv[1], "rb") : nullptr;
    if (file == nullptr) {
        std::fprintf(stderr, "usage: serd-baseline FILE, which ends in .nt, .nq, .ttl or .trig\n");
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    uint64_t numberOfStatements = 0;
    SerdReader* const reader =
        serd_reader_new(guessSyntax(argv[1]), &numberOfStatements, nullptr, nullptr, nullptr, &countStatement, nullptr);
    serd_reader_set_strict(reader, true);
    const SerdStatus status = serd_reader_read_file_handle(reader, file, reinterpret_cast<const uint8_t*>(argv[1]));
    serd_reader_free(reader);
    std::fclose(file);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    std::printf("%llu statements, %.3f s\n", static_cast<unsigned long long>(numberOfStatements), time.count());
    return status == SERD_SUCCESS ? 0 : 1;
}
