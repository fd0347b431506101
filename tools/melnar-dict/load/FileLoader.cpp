#include "tools/melnar-dict/load/FileLoader.h"

#include "tools/melnar-dict/load/ResolvingCollector.h"
#include "tools/melnar-dict/load/TermCollector.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/ResourceValue.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view LABEL_MARK = " _:"; // in a triple term

} // namespace

FileLoader::FileLoader(Dictionary& dictionary, InputJournal& journal, Settings settings)
    : m_dictionary(&dictionary), m_isLenient(settings.m_isLenient), m_blankNodes(),
      m_pass(journal, std::move(settings)) {}

FileLoader::FileLoader(Dictionary& dictionary, InputJournal& journal, Settings settings, const TermSettings& terms)
    : m_dictionary(nullptr), m_isLenient(settings.m_isLenient), m_blankNodes(terms.m_blankNodes),
      m_pass(journal, std::move(settings)) {
    m_ownResolver.emplace(
        dictionary, DictionaryResolver::Settings{m_isLenient, terms.m_order, terms.m_rowStream, terms.m_rowLayout});
    m_resolver = &*m_ownResolver;
}

FileLoader::FileLoader(TermResolver& resolver, InputJournal& journal, Settings settings,
                       const BlankNodeOptions& blankNodes)
    : m_dictionary(nullptr), m_isLenient(settings.m_isLenient), m_blankNodes(blankNodes),
      m_pass(journal, std::move(settings)), m_resolver(&resolver) {}

void FileLoader::load(const std::string& fileName, const RdfFormat format) {
    if (m_resolver == nullptr) {
        m_pass.read(fileName, format,
                    [this] { return std::make_unique<ResolvingCollector>(*m_dictionary, m_isLenient); });
        return;
    }
    m_resolver->startFile();
    const uint64_t document = m_blankNodes.getDocument(m_numberOfFiles++);
    m_pass.read(fileName, format, [this, document] { return std::make_unique<TermCollector>(*m_resolver, document); });
}

uint64_t FileLoader::getNextDocument(const Dictionary& dictionary) {
    if (!dictionary.mayHaveResources(D_BLANK_NODE) && !dictionary.mayHaveResources(D_TRIPLE_TERM))
        return 1;
    uint64_t document = 0;
    const auto takeLabel = [&document](const std::string_view label) {
        document = std::max(document, BlankNodeScope::getDocument(label));
    };
    for (const auto& [resourceID, value] : dictionary) {
        const std::string_view own(reinterpret_cast<const char*>(value.m_data), value.m_dataSize - 1);
        const std::string_view shared(reinterpret_cast<const char*>(value.m_auxiliaryData), value.m_auxiliaryDataSize);
        if (value.m_datatypeID == D_BLANK_NODE)
            takeLabel(shared.empty() ? own : shared); // The document is in the part that many labels share.
        else if (value.m_datatypeID == D_TRIPLE_TERM) {
            const std::string_view terms = own.substr(0, own.find('"')); // A literal is the last term.
            for (size_t mark = terms.find(LABEL_MARK); mark != std::string_view::npos;
                 mark = terms.find(LABEL_MARK, mark + LABEL_MARK.size()))
                takeLabel(terms.substr(mark + LABEL_MARK.size()));
        }
    }
    if (document >= BlankNodeScope::LARGEST_DOCUMENT)
        throw ToolFailure(ExitCode::FAILURE, "the dictionary has a blank node of document " + std::to_string(document) +
                                                 ", after which no file gets a number");
    return document + 1;
}
