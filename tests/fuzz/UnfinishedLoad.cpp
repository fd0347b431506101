#include "tests/fuzz/UnfinishedLoad.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/fuzz/Require.h"
#include "tests/fuzz/ZeroRuns.h"
#include "tests/tools/melnar-dict/input/TextSource.h"
#include "tests/tools/melnar-dict/load/SpilledBytes.h"
#include "tools/melnar-dict/load/FileLoader.h"
#include "tools/melnar-dict/load/LoadCheckpoint.h"
#include "tools/melnar-dict/load/ShardResolver.h"
#include "tools/melnar-dict/load/ShardSpill.h"
#include "tools/melnar-dict/load/ShardedLoadCommand.h"
#include "tools/melnar-dict/load/ShardedLoadSteps.h"
#include "tools/melnar-dict/rows/RowReader.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <set>
#include <sstream>

#include <fcntl.h>

namespace fs = std::filesystem;

namespace {

constexpr size_t WORK_SECTION = 4;
constexpr const char* MANIFEST = "work-manifest";

constexpr uint64_t MEMORY_LIMIT = uint64_t(256) << 20;
constexpr const char* BASE = "http://base/";
constexpr const char* OUTPUT = "output";
constexpr const char* FOLDER = "output/folder";
constexpr const char* ROWS = "output/rows.npy";

/// The terms of its first statement are in shards before the others are spilled.
constexpr const char* FIRST_FILE = "<a:s> <a:p> <a:o> .\n"
                                   "<a:s> <a:p> \"text\"@en <a:g> .\n"
                                   "_:b <a:p> \"1\"^^<a:t> .\n";
constexpr const char* SECOND_FILE = "<a:s> <a:p> \"text\"@en .\n"
                                    "<a:s> <a:q> <<( _:b <a:p> \"x\"@en--ltr )>> .\n";

/// The current folder of the process until the end of its scope.
class CurrentFolder : private Unmovable {
public:
    explicit CurrentFolder(const std::string& name) { fs::current_path(name); }
    ~CurrentFolder() { fs::current_path(m_previous); }

private:
    const fs::path m_previous = fs::current_path();
};

/// Calls an action with the name of each file in a folder.
template<class Action>
void forEachName(const std::string& folder, const Action& action) {
    for (const auto& entry : fs::directory_iterator(folder))
        action(entry.path().filename().string());
}

bool isOfWork(const std::string& fileName) {
    return fileName == MANIFEST || ShardSpill::isNameOfFile(fileName);
}

SpillPrefix getPrefixOf(const std::string& name, const UnfinishedLoad::Files& files) {
    const auto file = files.find(name);
    return file == files.end() ? SpillPrefix() : getPrefix(file->second);
}

} // namespace

UnfinishedLoad::UnfinishedLoad() : m_nullDevice(::open("/dev/null", O_WRONLY | O_CLOEXEC)) {
    const CurrentFolder current(m_directory.getPathOf("."));
    for (const auto& [name, text] : {std::pair("1.nq", FIRST_FILE), std::pair("2.nq", SECOND_FILE)}) {
        m_directory.addFile(name, text);
        fs::last_write_time(name, fs::file_time_type(std::chrono::seconds(0)));
        m_options.m_files.emplace_back(name, RdfFormat::N_QUADS);
    }
    m_options.m_numberOfThreads = 1;
    m_options.m_feedback.m_isQuiet = true;
    m_options.m_output.m_outputName = FOLDER;
    m_options.m_memoryLimit = MEMORY_LIMIT;
    m_options.m_base = BASE;
    m_options.m_makesShards = true;
    m_options.m_idsName = ROWS;
    std::set<std::string> names;
    for (const bool isResolving : {false, true}) {
        writeFolder({});
        save(isResolving);
        Files& files = m_soundFiles.emplace_back();
        forEachName(FOLDER, [&](const std::string& name) {
            (isOfWork(name) ? files : m_shards)[name] =
                TemporaryDirectory::getContentsOf(std::string(FOLDER) + '/' + name);
            if (isOfWork(name))
                names.insert(name);
        });
    }
    m_names.assign(names.begin(), names.end());
}

/// Loads until the interruption.
void UnfinishedLoad::save(const bool isResolving) {
    ShardedDictionary dictionary({.m_memoryLimit = MEMORY_LIMIT});
    for (const char* const iri : {"a:s", "a:p", "a:o"}) {
        Dictionary& shard = dictionary.getOrMakeShard(ShardLayout::getShard(iri, D_IRI));
        DictionaryThread thread(shard);
        shard.resolveResource(thread, iri, D_IRI);
    }
    LoadWork work{.m_task = "blocks of " + std::to_string(ShardResolver::BLOCK_SIZE) + ' ' +
                            describeTask(m_options, ShardManifest(), stampInputs(m_options)),
                  .m_isFull = true};
    std::ostringstream errors;
    MessageOutput messages(errors);
    InputJournal journal({}, messages);
    ShardSpill spill(FOLDER, work);
    ShardResolver resolver(dictionary, spill, work, {.m_numberOfColumns = 4});
    FileLoader loader(resolver, journal, {.m_numberOfThreads = 1, .m_base = BASE}, m_options.m_blankNodes);
    LoadCheckpoint checkpoint(FOLDER, {.m_blocks = 1}, 1, dictionary, spill);
    for (work.m_fileIndex = 0; work.m_fileIndex < (isResolving ? 2 : 1); ++work.m_fileIndex)
        loader.load(m_options.m_files[work.m_fileIndex].first, RdfFormat::N_QUADS);
    checkpoint.save(work);
    if (isResolving) {
        dictionary.saveAndRelease(FOLDER, 1);
        checkpoint.startResolving(work);
        uint32_t shard = 0;
        while (!spill.hasTerms(shard))
            ++shard;
        spill.resolveShard(dictionary, shard);
        dictionary.saveAndRelease(shard);
        checkpoint.isDue(); // the next one is
        checkpoint.noteResolved(shard);
    }
    require(errors.str().empty(), "the input has no errors");
}

std::string UnfinishedLoad::join(const Files& files) const {
    std::string text;
    for (const std::string& name : m_names) {
        const auto file = files.find(name);
        const std::string bytes = file == files.end() ? "" : file->second;
        const auto size = static_cast<uint32_t>(bytes.size());
        text.append(reinterpret_cast<const char*>(&size), sizeof(size)).append(bytes);
    }
    return ZeroRuns::shorten(text);
}

UnfinishedLoad::Files UnfinishedLoad::divide(const std::string_view text) const {
    const std::string restored = ZeroRuns::restore(text);
    std::string_view rest = restored;
    Files files;
    for (const std::string& name : m_names) {
        uint32_t size = 0;
        rest.remove_prefix(rest.copy(reinterpret_cast<char*>(&size), sizeof(size)));
        const std::string_view bytes = rest.substr(0, size);
        rest.remove_prefix(bytes.size());
        if (!bytes.empty())
            files[name] = bytes;
    }
    return files;
}

UnfinishedLoad::Files UnfinishedLoad::repair(const Files& files) {
    Files repaired = files;
    if (files.contains(MANIFEST))
        repaired[MANIFEST] = ForgedDictionaryFile::repair(files.at(MANIFEST), MANIFEST_FORMAT).getBytes();
    return repaired;
}

UnfinishedLoad::Files UnfinishedLoad::correctRecord(const Files& files) {
    Files corrected = files;
    try {
        auto manifest = ForgedDictionaryFile::repair(files.at(MANIFEST), MANIFEST_FORMAT);
        std::string& section = manifest.m_sections.at(WORK_SECTION);
        LoadWork work = LoadWork::parse(section.substr(sizeof(uint64_t)));
        work.m_rows = getPrefixOf("work-rows", files);
        for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
            char number[3];
            std::snprintf(number, sizeof(number), "%02x", static_cast<unsigned>(shard));
            work.m_shards[shard].m_terms = getPrefixOf("work-terms-" + std::string(number), files);
            work.m_shards[shard].m_ids = getPrefixOf("work-ids-" + std::string(number), files);
        }
        const std::string bytes = work.toBytes();
        const uint64_t size = bytes.size();
        section.assign(reinterpret_cast<const char*>(&size), sizeof(size)).append(bytes);
        corrected[MANIFEST] = manifest.getBytes();
    } catch (const std::exception&) { // It has no record.
    }
    return corrected;
}

void UnfinishedLoad::writeFolder(const Files& files) const {
    fs::remove_all(OUTPUT);
    fs::create_directories(FOLDER);
    for (const auto* const all : {&files, &m_shards})
        for (const auto& [name, bytes] : *all)
            m_directory.addFile(std::string(FOLDER) + '/' + name, bytes);
}

std::optional<std::string> UnfinishedLoad::resume(const Files& files) const {
    const CurrentFolder current(m_directory.getPathOf("."));
    writeFolder(files);
    std::ostringstream errors;
    StandardOutput output(m_nullDevice.get());
    try {
        if (runShardedLoad(m_options, output, errors) != ExitCode::DONE) {
            require(!errors.str().empty(), "a load that stops says why");
            return std::nullopt;
        }
    } catch (const ToolFailure& failure) {
        require(*failure.what() != '\0', "a load is refused with the reason");
        return std::nullopt;
    } catch (const SystemCallException& exception) {
        require(exception.getErrorCode() == ENOENT, "the system fails only for lack of a file");
        return std::nullopt;
    } catch (const MelnarException& exception) {
        require(exception.getKind() != FailureKind::MISUSE && !exception.getMessage().empty(),
                "a load is refused with the reason");
        return std::nullopt;
    }
    const std::string rows = TemporaryDirectory::getContentsOf(ROWS);
    checkResult(rows, hasSoundShards(files));
    return rows;
}

bool UnfinishedLoad::hasSoundManifest(const Files& files) const {
    return !files.contains(MANIFEST) || std::ranges::any_of(m_soundFiles, [&files](const Files& sound) {
        return sound.at(MANIFEST) == files.at(MANIFEST);
    });
}

/// Returns whether the manifest is that of an interruption but for the record of the load, or missing.
bool UnfinishedLoad::hasSoundShards(const Files& files) const {
    const auto getOtherSections = [](const Files& all) {
        auto sections = ForgedDictionaryFile::repair(all.at(MANIFEST), MANIFEST_FORMAT).m_sections;
        sections.at(WORK_SECTION).clear();
        return sections;
    };
    return !files.contains(MANIFEST) ||
           std::ranges::any_of(m_soundFiles, [sections = getOtherSections(files), &getOtherSections](
                                                 const Files& sound) { return sections == getOtherSections(sound); });
}

/// Checks the dictionary and its rows after a load that was done.
void UnfinishedLoad::checkResult(const std::string& rows, const bool areShardsSound) const {
    const auto dictionary = ShardedDictionary::open(FOLDER, {.m_memoryLimit = MEMORY_LIMIT});
    try {
        dictionary->verify();
    } catch (const MelnarException& exception) {
        // The load takes over what a manifest says of the shards that it does not need in memory.
        require(!areShardsSound && exception.getKind() == FailureKind::DAMAGED_FILE, exception.what());
        return;
    }
    RowReader reader(std::make_unique<TextSource>(rows));
    require(reader.getHeader().m_layout.m_columns == 4, "rows have the columns that were requested");
    std::vector<uint64_t> ids;
    for (RowBlock block; reader.next(block);) {
        reader.takeIDs(block, ids);
        for (size_t cell = 0; cell < ids.size(); ++cell)
            require(dictionary->hasResource(ids[cell]) || (ids[cell] == 0 && cell % 4 == 3),
                    "rows have IDs of the dictionary, or none for the default graph");
    }
    forEachName(FOLDER, [](const std::string& name) { require(!isOfWork(name), "nothing is left of the load"); });
}
