#include "tests/Reader/ReadText.h"

#include "Reader/CanonicalWriter.h"
#include "Reader/StreamReader.h"
#include "Reader/SyntaxReader.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>

namespace {

class Recorder : public Rdf::StatementSink {
public:
    explicit Recorder(const std::string_view text) : m_text(text) {}

    void takeStatement(const Rdf::Statement& statement) final {
        Rdf::CanonicalWriter::appendStatement(statement, m_result.m_statements);
        const Rdf::Term* object = &statement.m_object;
        while (object->m_kind == Rdf::TermKind::TRIPLE)
            object = &object->m_triple->m_object;
        if (object->m_kind != Rdf::TermKind::LITERAL)
            return;
        const Rdf::Place place = m_reader->locate(*object);
        std::string literal = std::to_string(place.m_line) + ':' + std::to_string(place.m_column) + ':' +
                              std::to_string(place.m_offset) + " \"" + std::string(object->m_text) + '"';
        if (!object->m_tag.empty())
            literal.append("@").append(object->m_tag);
        if (object->m_direction != Rdf::Direction::NONE)
            literal.append(object->m_direction == Rdf::Direction::LEFT_TO_RIGHT ? "--ltr" : "--rtl");
        if (!object->m_datatype.empty())
            literal.append("^^").append(object->m_datatype);
        m_result.m_literals.push_back(std::move(literal));
    }

    void takeError(const Rdf::SyntaxError& error) final {
        m_result.m_errors.push_back(error.format("").substr(1));
        const uint64_t length = m_isLenient ? error.m_skippedEnd - error.m_skippedBegin : 0;
        EXPECT_EQ(m_text.substr(error.m_skippedBegin, length), m_skippedBytes);
        m_skippedBytes.clear();
        m_result.m_skipped.push_back(std::to_string(error.m_skippedBegin) + '-' + std::to_string(error.m_skippedEnd));
    }

    void takeSkipped(const std::string_view bytes) final { m_skippedBytes += bytes; }

    const std::string_view m_text;
    bool m_isLenient = false;
    ReadResult m_result;
    Rdf::SyntaxReader* m_reader = nullptr;

private:
    std::string m_skippedBytes; // since the last error
};

} // namespace

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

ReadResult readText(const std::string_view text, const Rdf::ReaderOptions& options) {
    Recorder recorder(text);
    recorder.m_isLenient = options.m_isLenient;
    const std::unique_ptr<Rdf::SyntaxReader> reader = Rdf::SyntaxReader::make(options, recorder);
    recorder.m_reader = reader.get();
    // A copy of its own, so that a sanitizer notices when anything outside is read.
    const std::vector<char> copy(text.begin(), text.end());
    EXPECT_EQ(text.size(), reader->read({copy.data(), copy.size()}, true));
    recorder.m_result.m_bytesExamined = reader->getBytesExamined();
    return recorder.m_result;
}

ReadResult readInPieces(const std::string_view text, const size_t size, const Rdf::ReaderOptions& options) {
    Recorder recorder(text);
    recorder.m_isLenient = options.m_isLenient;
    const std::unique_ptr<Rdf::SyntaxReader> reader = Rdf::SyntaxReader::make(options, recorder);
    recorder.m_reader = reader.get();
    Rdf::StreamReader stream(*reader);
    for (size_t begin = 0; begin < text.size(); begin += size)
        stream.feed(text.substr(begin, size));
    stream.finish();
    recorder.m_result.m_bytesExamined = reader->getBytesExamined();
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
