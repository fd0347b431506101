#include "tools/melnar-dict/load/FileLoader.h"

#include "tools/melnar-dict/load/LiteralResolver.h"
#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include "Engine/core/data-store/DictionaryThread.h"

#include <memory>
#include <utility>

namespace {

/// Resolves what is collected of a block, also if an error has ended it.
class ResolvingCollector final : public LiteralCollector {
public:
    ResolvingCollector(Dictionary& dictionary, const bool lenient)
        : m_dictionary(dictionary), m_thread(dictionary), m_isLenient(lenient) {}

    void endBlock(ParsedPiece& piece) override { resolveLiterals(m_dictionary, m_thread, m_isLenient, piece); }

private:
    Dictionary& m_dictionary;
    DictionaryThread m_thread;
    const bool m_isLenient;
};

} // namespace

FileLoader::FileLoader(Dictionary& dictionary, InputJournal& journal, Settings settings)
    : m_dictionary(dictionary), m_isLenient(settings.m_isLenient), m_pass(journal, std::move(settings)) {}

void FileLoader::load(const std::string& fileName, const RdfFormat format) {
    m_pass.read(fileName, format, [this] { return std::make_unique<ResolvingCollector>(m_dictionary, m_isLenient); });
}
