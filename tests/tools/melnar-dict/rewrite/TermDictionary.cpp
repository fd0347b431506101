#include "tests/tools/melnar-dict/rewrite/TermDictionary.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "tools/melnar-dict/pieces/TermRows.h"
#include "tools/melnar-dict/threads/FilePass.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <vector>

namespace {

/// Resolves the terms of each block, on one thread.
class TermResolver final : public StatementConsumer {
public:
    TermResolver(Dictionary& dictionary, DictionaryThread& thread, const uint64_t document)
        : m_dictionary(dictionary), m_thread(thread), m_document(document) {}

    const char* take(const Rdf::Statement& statement, const uint64_t line, ParsedPiece&) override {
        m_rows.add(statement, m_document, line);
        return nullptr;
    }
    void withdraw() override { m_rows.clear(); }
    void endBlock(ParsedPiece&) override {
        std::vector<BatchFailure> failures;
        m_dictionary.resolveResources(m_thread, m_rows.getEntries(), failures);
        EXPECT_TRUE(failures.empty());
        m_rows.clear();
    }

private:
    Dictionary& m_dictionary;
    DictionaryThread& m_thread;
    const uint64_t m_document;
    TermRows m_rows{4};
};

} // namespace

void saveTermDictionary(const InputFiles& files, const std::string& dictionaryName, const BlankNodeOptions& blankNodes,
                        const std::string& base, const Rdf::Version version) {
    Dictionary dictionary(size_t(1) << 30, 10000000);
    DictionaryThread thread(dictionary);
    std::ostringstream errors;
    MessageOutput messages(errors);
    InputJournal journal({}, messages);
    FilePass pass(journal, {.m_numberOfThreads = 1, .m_base = base, .m_version = version});
    for (size_t index = 0; index < files.size(); ++index)
        pass.read(files[index].first, files[index].second,
                  [&] { return std::make_unique<TermResolver>(dictionary, thread, blankNodes.getDocument(index)); });
    EXPECT_EQ(ExitCode::DONE, journal.getExitCode()) << errors.str();
    dictionary.commit();
    dictionary.save(dictionaryName);
}

void saveTermDictionary(const std::vector<std::string>& fileNames, const std::string& dictionaryName,
                        const BlankNodeOptions& blankNodes) {
    InputFiles files;
    for (const std::string& fileName : fileNames)
        files.emplace_back(fileName, formatOfFile(fileName).value());
    saveTermDictionary(files, dictionaryName, blankNodes);
}
