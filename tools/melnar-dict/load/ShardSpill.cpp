#include "tools/melnar-dict/load/ShardSpill.h"

#include "tools/melnar-dict/shell/NumberText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/FileInputStream.h"
#include "Engine/core/platform/stream/FolderNames.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <limits>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict/load/ShardSpill";
constexpr long LINE_DAMAGED_TERMS = 57;
constexpr long LINE_DAMAGED_ROWS = 231;
constexpr long LINE_DAMAGED_IDS = 254;

// Enough for a dictionary to work at full speed.
constexpr size_t TERMS_OF_A_BATCH = 2048;
constexpr size_t BYTES_OF_A_BATCH = size_t(1) << 18;

// Of each file of IDs, all of which are read together.
constexpr size_t BUFFER_SIZE_OF_IDS = size_t(1) << 14;

// The kinds of files.
constexpr const char* TERMS = "terms";
constexpr const char* IDS = "ids";
constexpr const char* ROWS = "rows";
constexpr const char* AHEAD = "ahead-"; // followed by the characters that mkostemp chooses

constexpr std::string_view PATTERN_OF_MKOSTEMP = "XXXXXX";
constexpr const char* LETTERS_OF_MKOSTEMP = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

// Of rows that are completed together; whole rows of 3 columns or 4. The number of cells in a damaged file may be as
// large as the file.
constexpr uint64_t CELLS_OF_A_PART = uint64_t(12) << 12;

// Where a row may have 0, for the default graph.
constexpr size_t GRAPH_COLUMN = 3;

/// How many resources each shard of a dictionary has. No shard is brought into memory.
class ResourceNumbers {
public:
    explicit ResourceNumbers(const ShardedDictionary& dictionary) {
        for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
            m_numbers[shard] = std::max(dictionary.getManifest().m_shards[shard].m_numberOfResources, // when saved
                                        dictionary.getShardInMemory(shard).getNextResourceID() - 1);
    }

    /// Returns whether the shard has a resource with this local ID.
    bool hasLocal(const uint64_t localID, const uint32_t shard) const noexcept {
        return localID != ShardLayout::NO_RESOURCE && localID <= m_numbers[shard];
    }

    /// Returns whether there is a resource with this ID.
    bool hasGlobal(const uint64_t globalID) const noexcept {
        return globalID != ShardLayout::NO_RESOURCE &&
               hasLocal(ShardLayout::toLocal(globalID), ShardLayout::getShard(globalID));
    }

private:
    std::array<uint64_t, ShardLayout::NUMBER_OF_SHARDS> m_numbers;
};

/// Terms of a shard's file that are resolved together.
struct Batch {
    std::string m_forms;
    std::vector<BatchEntry> m_entries;
};

[[noreturn]] void throwDamagedTerms(const std::string& fileName, const std::vector<std::exception_ptr>& causes) {
    throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_DAMAGED_TERMS, causes, "File '", fileName,
                          "' is damaged: it does not contain terms of its shard.");
}

/// Throws why a shard has not taken a term of a file. Only sound literals are spilled.
[[noreturn]] void throwFailure(const BatchFailure& failure, const std::string& fileName) {
    try {
        failure.throwException();
    } catch (const MelnarException& exception) {
        if (exception.getKind() == FailureKind::REFUSED_LITERAL)
            throwDamagedTerms(fileName, {std::current_exception()});
        throw;
    }
}

/// Reads a batch of the remaining terms of a shard, up to its size.
void readBatch(FileInputStream& input, const uint32_t shard, uint64_t& remainingBytes, Batch& batch) {
    constexpr size_t BYTES_BEFORE_FORM = sizeof(uint32_t) + sizeof(BatchEntry::m_datatypeID);
    batch.m_forms.clear();
    batch.m_entries.clear();
    std::vector<size_t> begins;
    const auto requireSound = [&input](const bool isSound) {
        if (!isSound)
            throwDamagedTerms(input.getName(), MelnarException::NO_CAUSES);
    };
    while (remainingBytes != 0 && begins.size() < TERMS_OF_A_BATCH && batch.m_forms.size() < BYTES_OF_A_BATCH) {
        requireSound(remainingBytes >= BYTES_BEFORE_FORM);
        const uint32_t length = input.readUInt32();
        requireSound(length <= remainingBytes - BYTES_BEFORE_FORM);
        BatchEntry& entry = batch.m_entries.emplace_back();
        input.readExactly(&entry.m_datatypeID, sizeof(entry.m_datatypeID));
        begins.push_back(batch.m_forms.size());
        batch.m_forms.resize(begins.back() + length);
        input.readExactly(batch.m_forms.data() + begins.back(), length);
        remainingBytes -= BYTES_BEFORE_FORM + length;
    }
    begins.push_back(batch.m_forms.size());
    for (size_t index = 0; index < batch.m_entries.size(); ++index) {
        BatchEntry& entry = batch.m_entries[index];
        entry.m_lexicalForm = std::string_view(batch.m_forms.data() + begins[index], begins[index + 1] - begins[index]);
        requireSound(ShardLayout::getShard(entry.m_lexicalForm, entry.m_datatypeID) == shard);
    }
}

} // namespace

ShardSpill::ShardSpill(std::string folderName, const LoadWork& work) : m_folderName(std::move(folderName)) {
    const auto reopen = [](const std::string& fileName, const SpillPrefix& prefix) {
        return prefix.m_numberOfBytes == 0 ? nullptr : std::make_unique<SpillFile>(fileName, prefix);
    };
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
        const LoadWork::Shard& ofShard = work.m_shards[shard];
        if (ofShard.m_isResolved)
            m_ids[shard] = reopen(getName(IDS, shard), ofShard.m_ids);
        else
            m_terms[shard] = reopen(getName(TERMS, shard), ofShard.m_terms);
    }
    m_rows = reopen(getName(ROWS), work.m_rows);
}

ShardSpill::~ShardSpill() {
    if (!m_isKept)
        removeFrom(m_folderName);
}

void ShardSpill::removeFrom(const std::string& folderName) noexcept {
    try {
        std::error_code error;
        std::filesystem::remove(folderName + '/' + WORK_PREFIX + ShardManifest::FILE_NAME, error);
        const FolderNames names(folderName);
        while (const char* const name = names.readName())
            if (isNameOfFile(name))
                std::filesystem::remove(folderName + '/' + name, error);
    } catch (const std::bad_alloc&) {
    }
}

/// No file of another owner may be mistaken for one.
bool ShardSpill::isNameOfFile(const std::string& fileName) {
    const std::string rows = std::string(WORK_PREFIX) + ROWS;
    if (fileName == rows)
        return true;
    if (fileName.starts_with(rows + '-')) {
        const std::optional<uint64_t> number = parseNumber(std::string_view(fileName).substr(rows.size() + 1));
        return number && fileName == rows + '-' + std::to_string(*number);
    }
    const std::string ahead = std::string(WORK_PREFIX) + AHEAD;
    if (fileName.starts_with(ahead) && fileName.size() == ahead.size() + PATTERN_OF_MKOSTEMP.size() &&
        fileName.find_first_not_of(LETTERS_OF_MKOSTEMP, ahead.size()) == std::string::npos)
        return true;
    for (const char* const kind : {TERMS, IDS}) {
        const std::string prefix = std::string(WORK_PREFIX) + kind + '-';
        if (fileName.starts_with(prefix) && fileName.size() == prefix.size() + 2 &&
            fileName.find_first_not_of("0123456789abcdef", prefix.size()) == std::string::npos)
            return true;
    }
    return false;
}

void ShardSpill::requireShortForm(const BatchEntry& term) {
    if (term.m_lexicalForm.size() > std::numeric_limits<uint32_t>::max())
        throw ToolFailure(ExitCode::FAILURE, "a term of " + std::to_string(term.m_lexicalForm.size()) +
                                                 " bytes is too long to be spilled or sent to another process");
}

std::string ShardSpill::getNameOfRowFile(const std::string& folderName, const uint64_t number) {
    return folderName + '/' + WORK_PREFIX + ROWS + '-' + std::to_string(number);
}

std::string ShardSpill::getPatternOfFileAhead(const std::string& folderName) {
    return folderName + '/' + WORK_PREFIX + AHEAD + std::string(PATTERN_OF_MKOSTEMP);
}

std::string ShardSpill::getName(const std::string& kind) const {
    return m_folderName + '/' + WORK_PREFIX + kind;
}

std::string ShardSpill::getName(const std::string& kind, const uint32_t shard) const {
    char number[4];
    std::snprintf(number, sizeof(number), "-%02x", static_cast<unsigned>(shard % ShardLayout::NUMBER_OF_SHARDS));
    return getName(kind + number);
}

void ShardSpill::synchronize(LoadWork& work) {
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        if (m_terms[shard] != nullptr)
            work.m_shards[shard].m_terms = m_terms[shard]->synchronize();
    if (m_rows != nullptr)
        work.m_rows = m_rows->synchronize();
}

void ShardSpill::synchronizeIDs(const uint32_t shard, LoadWork::Shard& work) {
    work.m_ids = m_ids[shard]->synchronize();
    work.m_isResolved = true;
}

void ShardSpill::addTerm(const uint32_t shard, const BatchEntry& term) {
    requireShortForm(term);
    if (m_terms[shard] == nullptr)
        m_terms[shard] = std::make_unique<SpillFile>(getName(TERMS, shard));
    SpillFile& file = *m_terms[shard];
    file.writeUInt32(static_cast<uint32_t>(term.m_lexicalForm.size()));
    file.write(&term.m_datatypeID, sizeof(term.m_datatypeID));
    file.write(term.m_lexicalForm.data(), term.m_lexicalForm.size());
}

bool ShardSpill::hasAnyTerms() const noexcept {
    return std::ranges::any_of(m_terms, [](const auto& file) { return file != nullptr; });
}

void ShardSpill::addRows(const std::span<const uint8_t> shardsOfUnknown, const std::span<const uint64_t> cells) {
    if (m_rows == nullptr)
        m_rows = std::make_unique<SpillFile>(getName(ROWS));
    m_rows->writeUInt32(static_cast<uint32_t>(shardsOfUnknown.size()));
    m_rows->write(shardsOfUnknown.data(), shardsOfUnknown.size());
    m_rows->writeUInt64(cells.size());
    m_rows->write(cells.data(), cells.size_bytes());
}

void ShardSpill::resolveShard(ShardedDictionary& dictionary, const uint32_t shard) {
    m_terms[shard]->flush();
    m_ids[shard] = std::make_unique<SpillFile>(getName(IDS, shard));
    Dictionary& shardDictionary = dictionary.getOrMakeShard(shard);
    {
        DictionaryThread thread(shardDictionary);
        FileInputStream input(m_terms[shard]->getName());
        uint64_t remainingBytes = m_terms[shard]->getNumberOfBytes();
        Batch batch;
        std::vector<BatchFailure> failures;
        while (remainingBytes != 0) {
            readBatch(input, shard, remainingBytes, batch);
            shardDictionary.resolveResources(thread, batch.m_entries, failures);
            if (!failures.empty())
                throwFailure(failures.front(), input.getName());
            for (const BatchEntry& entry : batch.m_entries)
                m_ids[shard]->writeUInt64(entry.m_resourceID);
        }
    }
    m_ids[shard]->flush();
}

void ShardSpill::writeRows(const RowLayout& layout, const ShardedDictionary& dictionary, OutputStream& output) {
    if (m_rows == nullptr)
        return;
    m_rows->flush();
    const ResourceNumbers numbers(dictionary);
    std::array<std::unique_ptr<FileInputStream>, ShardLayout::NUMBER_OF_SHARDS> ids;
    std::array<uint64_t, ShardLayout::NUMBER_OF_SHARDS> remainingIDs{};
    FileInputStream input(m_rows->getName());
    uint64_t remainingBytes = m_rows->getNumberOfBytes();
    const auto requireSound = [&input](const bool isSound) {
        if (!isSound)
            throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_DAMAGED_ROWS, MelnarException::NO_CAUSES,
                                  "File '", input.getName(), "' is damaged: it does not contain rows of this load.");
    };
    const auto take = [&](const uint64_t number, const size_t size) {
        requireSound(number <= remainingBytes / size);
        remainingBytes -= number * size;
        return number;
    };
    std::vector<uint64_t> globalIDs; // of the block's unknown terms
    std::vector<uint64_t> cells;
    std::string bytes;
    while (remainingBytes != 0) {
        take(1, sizeof(uint32_t));
        globalIDs.clear();
        for (uint64_t rest = take(input.readUInt32(), sizeof(uint8_t)); rest != 0; --rest) {
            uint8_t shard = 0;
            input.readExactly(&shard, sizeof(shard));
            requireSound(m_ids[shard] != nullptr);
            if (ids[shard] == nullptr) {
                ids[shard] = std::make_unique<FileInputStream>(m_ids[shard]->getName(), BUFFER_SIZE_OF_IDS);
                remainingIDs[shard] = m_ids[shard]->getNumberOfBytes() / sizeof(uint64_t);
            }
            requireSound(remainingIDs[shard]-- != 0);
            const uint64_t localID = ids[shard]->readUInt64();
            if (!numbers.hasLocal(localID, shard))
                throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_DAMAGED_IDS,
                                      MelnarException::NO_CAUSES, "File '", ids[shard]->getName(),
                                      "' is damaged: it does not contain IDs of its shard.");
            globalIDs.push_back(ShardLayout::toGlobal(localID, shard));
        }
        take(1, sizeof(uint64_t));
        const uint64_t numberOfCells = take(input.readUInt64(), sizeof(uint64_t));
        requireSound(numberOfCells % layout.m_columns == 0);
        for (uint64_t rest = numberOfCells; rest != 0; rest -= cells.size()) {
            cells.resize(std::min(rest, CELLS_OF_A_PART));
            input.readExactly(cells.data(), cells.size() * sizeof(uint64_t));
            for (size_t index = 0; index < cells.size(); ++index) {
                uint64_t& cell = cells[index];
                if ((cell & UNKNOWN) != 0) {
                    requireSound((cell & ~UNKNOWN) < globalIDs.size());
                    cell = globalIDs[cell & ~UNKNOWN];
                } else
                    requireSound(numbers.hasGlobal(cell) || (cell == 0 && index % layout.m_columns == GRAPH_COLUMN));
            }
            bytes.clear();
            appendIDs(cells, layout.m_idWidth, bytes);
            output.write(bytes.data(), bytes.size());
        }
    }
}
