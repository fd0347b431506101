#include "tools/melnar-dict/input/FileSource.h"
#include "tools/melnar-dict/rewrite/RowDecoder.h"
#include "tools/melnar-dict/shell/OutputFile.h"
#include "tools/melnar-dict/shell/OutputLock.h"

#include <cstdio>
#include <exception>
#include <iostream>
#include <vector>

// Measures writing alone: copies a file through the output class of `decode`, in pieces of the same size. To be
// compared with `decode`.

int main(const int argc, const char* const* const argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: bench-copy FILE COPY\n");
        return 2;
    }
    try {
        FileSource source(argv[1]);
        OutputLock lock(argv[2], false, std::cerr);
        OutputFile copy(lock);
        std::vector<char> piece(RowDecoder::MAXIMUM_TEXT);
        while (const size_t size = source.read(piece.data(), piece.size()))
            copy.getStream().write(piece.data(), size);
        copy.commit();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench-copy: %s\n", failure.what());
        return 1;
    }
    return 0;
}
