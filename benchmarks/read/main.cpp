#include "Reader/StreamReader.h"
#include "Reader/SyntaxReader.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>
#include <vector>

// Measures reading alone: counts the statements of a file, and writes nothing. Prints the number of statements, that of
// errors, and the seconds of processor time. To be compared with serd-baseline.

namespace {

class Counter : public Rdf::StatementSink {
public:
    void takeStatement(const Rdf::Statement&) final { ++m_numberOfStatements; }
    void takeError(const Rdf::SyntaxError& error) final {
        std::fprintf(stderr, "%s\n", error.format("input").c_str());
        ++m_numberOfErrors;
    }

    uint64_t m_numberOfStatements = 0;
    uint64_t m_numberOfErrors = 0;
};

Rdf::Syntax guessSyntax(const std::string_view fileName) {
    if (fileName.ends_with(".ttl"))
        return Rdf::Syntax::TURTLE;
    if (fileName.ends_with(".nq"))
        return Rdf::Syntax::N_QUADS;
    return fileName.ends_with(".trig") ? Rdf::Syntax::TRIG : Rdf::Syntax::N_TRIPLES;
}

} // namespace

int main(const int argc, const char* const* const argv) {
    std::FILE* const file = argc == 2 ? std::fopen(argv[1], "rb") : nullptr;
    if (file == nullptr) {
        std::fprintf(stderr, "usage: bench-read FILE, which ends in .nt, .nq, .ttl or .trig\n");
        return 2;
    }
    std::setvbuf(file, nullptr, _IONBF, 0);
    const std::clock_t start = std::clock();
    Counter counter;
    Rdf::ReaderOptions options;
    options.m_syntax = guessSyntax(argv[1]);
    options.m_base = "http://example.org/";
    const std::unique_ptr<Rdf::SyntaxReader> reader = Rdf::SyntaxReader::make(options, counter);
    Rdf::StreamReader stream(*reader);
    std::vector<char> piece(1 << 16);
    while (const size_t size = std::fread(piece.data(), 1, piece.size(), file))
        stream.feed({piece.data(), size});
    stream.finish();
    std::fclose(file);
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    std::printf("%llu statements, %llu errors, %.3f s\n", static_cast<unsigned long long>(counter.m_numberOfStatements),
                static_cast<unsigned long long>(counter.m_numberOfErrors), seconds);
    return counter.m_numberOfErrors == 0 ? 0 : 1;
}
