#include "tests/tools/melnar-dict/load/ShardedTestLoad.h"

#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include <filesystem>
#include <sstream>

using namespace melnar;

namespace {

constexpr const char* BASE = "http://base/";

} // namespace

ShardedTestLoad::ShardedTestLoad(const std::vector<std::string>& texts, const RdfFormat format) : m_format(format) {
    std::filesystem::create_directory(getFolder());
    for (const std::string& text : texts)
        m_fileNames.push_back(m_directory.addFile(std::to_string(m_fileNames.size() + 1), text));
}

ShardedOutcome ShardedTestLoad::load(const ShardedHow& how) {
    ShardedDictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = TERMS_OF_A_SHARD});
    ShardSpill spill(getFolder(), {});
    return load(how, dictionary, spill, {});
}

ShardedOutcome ShardedTestLoad::load(const ShardedHow& how, ShardedDictionary& dictionary, ShardSpill& spill,
                                     const LoadWork& work) {
    std::ostringstream errorOutput;
    MessageOutput messages(errorOutput);
    InputJournal journal({.m_isLenient = how.m_resolver.m_isLenient, .m_numberOfErrorsShown = ~uint64_t(0)}, messages);
    {
        ShardResolver resolver(dictionary, spill, work, how.m_resolver);
        m_emptyMemory = dictionary.getMemoryInUse();
        FileLoader loader(resolver, journal, {how.m_numberOfThreads, how.m_resolver.m_isLenient, BASE, how.m_blockSize},
                          {});
        for (const std::string& fileName : m_fileNames)
            if (!journal.isStopped())
                loader.load(fileName, m_format);
    }
    m_memory = dictionary.getMemoryInUse();
    ShardedOutcome outcome{journal.getExitCode(), errorOutput.str(), journal.getCounts()};
    m_hasSpilled = spill.hasAnyTerms();
    if (outcome.m_exitCode != ExitCode::DONE)
        return outcome;
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        if (spill.hasTerms(shard))
            spill.resolveShard(dictionary, shard);
    MemoryOutputStream rows;
    spill.writeRows({how.m_resolver.m_numberOfColumns, RowLayout::WIDE}, dictionary, rows);
    takeIDs(rows.getBytes(), RowLayout::WIDE, outcome.m_rows);
    dictionary.forEachShard([&outcome](const uint32_t number, const Dictionary& shard) {
        for (uint64_t localID = 1; localID < shard.getNextResourceID(); ++localID) {
            auto& [datatypeID, form] = outcome.m_terms[number].emplace_back();
            datatypeID = shard.getResource(localID, form);
        }
    });
    return outcome;
}

ShardedOutcome ShardedTestLoad::getModel(const ShardedHow& how) const {
    const RowLayout layout{how.m_resolver.m_numberOfColumns, RowLayout::WIDE};
    MemoryOutputStream rows;
    TestLoad load({1, how.m_resolver.m_isLenient, BASE},
                  {.m_rowStream = layout.m_columns == 0 ? nullptr : &rows, .m_rowLayout = layout});
    for (const std::string& fileName : m_fileNames)
        load.load(fileName, m_format);
    ShardedOutcome outcome{load.getJournal().getExitCode(), load.getErrorOutput(), load.getJournal().getCounts()};
    if (outcome.m_exitCode != ExitCode::DONE)
        return outcome;
    const Dictionary& dictionary = load.getDictionary();
    std::vector<uint64_t> globalIDs{0};
    for (uint64_t resourceID = 1; resourceID < dictionary.getNextResourceID(); ++resourceID) {
        std::string form;
        const uint8_t datatypeID = dictionary.getResource(resourceID, form);
        const uint32_t shard = ShardLayout::getShard(form, datatypeID);
        outcome.m_terms[shard].emplace_back(datatypeID, form);
        globalIDs.push_back(ShardLayout::toGlobal(outcome.m_terms[shard].size(), shard));
    }
    takeIDs(rows.getBytes(), layout.m_idWidth, outcome.m_rows);
    for (uint64_t& resourceID : outcome.m_rows)
        resourceID = globalIDs.at(resourceID);
    return outcome;
}
