#include "tests/Reader/ReadText.h"

#include "tests/Reader/Recorder.h"

#include "Reader/StreamReader.h"
#include "Reader/SyntaxReader.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>

ReadResult& ReadResult::operator+=(const ReadResult& next) {
    const auto append = [](auto& all, const auto& more) { all.insert(all.end(), more.begin(), more.end()); };
    append(m_statements, next.m_statements);
    append(m_literals, next.m_literals);
    append(m_errors, next.m_errors);
    append(m_skipped, next.m_skipped);
    m_skippedBytes += next.m_skippedBytes;
    m_bytesExamined += next.m_bytesExamined;
    return *this;
}

void PrintTo(const ReadResult& result, std::ostream* const output) {
    *output << '\n' << result.m_statements;
    for (const std::string& literal : result.m_literals)
        *output << literal << '\n';
    for (size_t index = 0; index < result.m_errors.size(); ++index)
        *output << result.m_errors[index] << " (skipped " << result.m_skipped[index] << ")\n";
}

Rdf::ReaderOptions strict(const Rdf::Syntax syntax, const Rdf::Version version) {
    Rdf::ReaderOptions options;
    options.m_syntax = syntax;
    options.m_version = version;
    options.m_base = "http://b.example/";
    return options;
}

Rdf::ReaderOptions lenient(const Rdf::Syntax syntax) {
    Rdf::ReaderOptions options = strict(syntax);
    options.m_isLenient = true;
    return options;
}

namespace {

/// Checks that the sink gets the bytes that errors name, before each error.
void checkSkippedBytes(const std::string_view text, const ReadResult& result, const bool isLenient) {
    std::string bytes;
    for (const std::string& skipped : result.m_skipped) {
        const size_t begin = std::stoull(skipped);
        const size_t end = std::stoull(skipped.substr(skipped.find('-') + 1));
        bytes.append(text.substr(begin, isLenient ? end - begin : 0)).append("|");
    }
    EXPECT_EQ(bytes, result.m_skippedBytes);
}

} // namespace

ReadResult readText(const std::string_view text, const Rdf::ReaderOptions& options) {
    std::unique_ptr<Rdf::SyntaxReader> reader;
    Recorder recorder([&reader](const Rdf::Term& term) { return reader->locate(term); });
    reader = Rdf::SyntaxReader::make(options, recorder);
    // A separate copy, so that a sanitizer detects reads outside of it.
    const std::vector<char> copy(text.begin(), text.end());
    EXPECT_EQ(text.size(), reader->read({copy.data(), copy.size()}, true));
    recorder.m_result.m_bytesExamined = reader->getBytesExamined();
    checkSkippedBytes(text, recorder.m_result, options.m_isLenient);
    return recorder.m_result;
}

ReadResult readInPieces(const std::string_view text, const size_t size, const Rdf::ReaderOptions& options) {
    std::unique_ptr<Rdf::SyntaxReader> reader;
    Recorder recorder([&reader](const Rdf::Term& term) { return reader->locate(term); });
    reader = Rdf::SyntaxReader::make(options, recorder);
    Rdf::StreamReader stream(*reader);
    for (size_t begin = 0; begin < text.size(); begin += size)
        stream.feed(text.substr(begin, size));
    stream.finish();
    recorder.m_result.m_bytesExamined = reader->getBytesExamined();
    checkSkippedBytes(text, recorder.m_result, options.m_isLenient);
    return recorder.m_result;
}

std::string errorOf(const std::string_view text, const Rdf::ReaderOptions& options) {
    const ReadResult result = readText(text, options);
    if (result.m_errors.size() == 1)
        return result.m_errors.front();
    return std::to_string(result.m_errors.size()) + " errors, and statements " + result.m_statements;
}

std::string statementsOf(const std::string_view text, const Rdf::ReaderOptions& options) {
    const ReadResult result = readText(text, options);
    EXPECT_EQ(std::vector<std::string>(), result.m_errors) << text;
    return result.m_statements;
}
