#include "Engine/core/data-store/sharded/ShardManifest.h"

#include "Engine/core/data-store/SectionFormat.h"
#include "Engine/core/data-store/SectionInputStream.h"
#include "Engine/core/data-store/SectionOutputStream.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/MelnarException.h"

#include <string>
#include <string_view>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/sharded/ShardManifest";
constexpr long LINE_INPUT_NAME_TOO_LONG = 118;
constexpr long LINE_WORK_TOO_LONG = 155;

constexpr SectionFormat MANIFEST{"MELNARDF", 1, "manifest of a dictionary folder", "Manifest"};

// A name is this prefix, two hexadecimal digits for the shard, and then '-' and an identity, or the suffix.
constexpr std::string_view NAME_PREFIX = "shard-";
constexpr std::string_view TEMPORARY_SUFFIX = ".saving";
constexpr std::string_view HEXADECIMAL_DIGITS = "0123456789abcdef";

std::string getNameBegin(const uint32_t shard) {
    return std::string(NAME_PREFIX) + HEXADECIMAL_DIGITS[shard / 16 % 16] + HEXADECIMAL_DIGITS[shard % 16];
}

void writeIdentity(const DictionaryIdentity& identity, OutputStream& output) {
    for (const uint64_t half : identity.m_checksum)
        output.writeUInt64(half);
}

DictionaryIdentity readIdentity(InputStream& input) {
    DictionaryIdentity identity;
    for (uint64_t& half : identity.m_checksum)
        half = input.readUInt64();
    return identity;
}

void readTermsOf(SectionInputStream& input, const uint32_t number, ShardManifest::Shard& shard) {
    const std::string name = "shard " + std::to_string(number);
    const uint32_t numberOfDatatypes = input.readUInt32();
    uint64_t sum = 0;
    uint32_t previousID = D_INVALID;
    for (uint32_t index = 0; index < numberOfDatatypes; ++index) {
        const uint32_t datatypeID = input.readUInt32();
        if (datatypeID <= previousID || datatypeID >= NUMBER_OF_DATATYPE_IDS)
            input.reportDamage(name + " has datatype " + std::to_string(datatypeID) + " after datatype " +
                               std::to_string(previousID) + ".");
        previousID = datatypeID;
        ShardManifest::Terms& terms = shard.m_terms[static_cast<uint8_t>(datatypeID)];
        terms.m_number = input.readUInt64();
        terms.m_formBytes = input.readUInt64();
        if (terms.m_number == 0 || terms.m_number > shard.m_numberOfResources - sum)
            input.reportDamage(name + " has " + std::to_string(terms.m_number) + " terms of datatype " +
                               std::to_string(datatypeID) + ".");
        sum += terms.m_number;
    }
    if (sum != shard.m_numberOfResources)
        input.reportDamage(name + " has " + std::to_string(sum) + " terms, but " +
                           std::to_string(shard.m_numberOfResources) + " resources.");
}

void readTerms(SectionInputStream& input, ShardManifest& manifest) {
    input.beginSection("terms");
    for (uint32_t number = 0; number < ShardLayout::NUMBER_OF_SHARDS; ++number)
        readTermsOf(input, number, manifest.m_shards[number]);
    input.endSection();
}

/// Reads a text without reserving memory for its length, which is untrusted.
std::string readText(SectionInputStream& input, const std::string& name, const size_t largestLength) {
    const uint64_t length = input.readUInt64();
    if (length > largestLength)
        input.reportDamage(name + " has " + std::to_string(length) + " bytes.");
    std::string text(length, '\0');
    input.readExactly(text.data(), length);
    return text;
}

void readShards(SectionInputStream& input, ShardManifest& manifest) {
    input.beginSection("shards");
    const uint32_t numberOfShards = input.readUInt32();
    if (numberOfShards != ShardLayout::NUMBER_OF_SHARDS)
        input.reportDamage("there are " + std::to_string(numberOfShards) + " shards.");
    const uint64_t maximum = manifest.m_maximumNumberOfResourcesOfShard = input.readUInt64();
    if (maximum > ShardedDictionary::MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD)
        input.reportDamage("the largest number of resources of a shard is " + std::to_string(maximum) + ".");
    for (uint32_t number = 0; number < numberOfShards; ++number) {
        ShardManifest::Shard& shard = manifest.m_shards[number];
        shard.m_numberOfResources = input.readUInt64();
        shard.m_fileBytes = input.readUInt64();
        shard.m_identity = readIdentity(input);
        if (shard.m_numberOfResources > maximum)
            input.reportDamage("shard " + std::to_string(number) + " has " + std::to_string(shard.m_numberOfResources) +
                               " resources.");
        if (shard.m_numberOfResources == 0 && shard != ShardManifest::Shard())
            input.reportDamage("shard " + std::to_string(number) + " has a file without resources.");
    }
    input.endSection();
}

void readInputs(SectionInputStream& input, ShardManifest& manifest) {
    input.beginSection("inputs");
    manifest.m_nextDocument = input.readUInt64();
    const uint64_t numberOfInputs = input.readUInt64();
    for (uint64_t number = 1; number <= numberOfInputs; ++number) {
        ShardManifest::Input& read = manifest.m_inputs.emplace_back();
        read.m_name = readText(input, "the name of input " + std::to_string(number), ShardManifest::LONGEST_INPUT_NAME);
        read.m_numberOfStatements = input.readUInt64();
        const uint32_t isWhole = input.readUInt32();
        if (isWhole > 1)
            input.reportDamage("input " + std::to_string(number) + " is neither complete nor incomplete.");
        read.m_isWhole = isWhole == 1;
    }
    input.endSection();
}

void readHistory(SectionInputStream& input, ShardManifest& manifest) {
    input.beginSection("history");
    manifest.m_history.m_generation = input.readUInt64();
    const uint64_t numberOfEntries = input.readUInt64();
    const uint64_t largestCommitPoint = manifest.getNumberOfResources() + 1;
    uint64_t lastCommitPoint = 0;
    for (uint64_t number = 1; number <= numberOfEntries; ++number) {
        const DictionaryHistory::Entry entry{input.readUInt64(), readIdentity(input)};
        if (entry.m_commitPoint <= lastCommitPoint || entry.m_commitPoint > largestCommitPoint)
            input.reportDamage("entry " + std::to_string(number) + " has the commit point " +
                               std::to_string(entry.m_commitPoint) + ".");
        lastCommitPoint = entry.m_commitPoint;
        manifest.m_history.m_entries.push_back(entry);
    }
    input.endSection();
}

} // namespace

uint64_t ShardManifest::getNumberOfResources() const noexcept {
    uint64_t sum = 0;
    for (const Shard& shard : m_shards)
        sum += shard.m_numberOfResources;
    return sum;
}

/// An intermediate state has more resources than the last whole one, to which the last entry belongs.
std::optional<DictionaryIdentity> ShardManifest::getIdentityOfWholeState() const noexcept {
    const std::vector<DictionaryHistory::Entry>& entries = m_history.m_entries;
    if (entries.empty() || entries.back().m_commitPoint != getNumberOfResources() + 1)
        return std::nullopt;
    return entries.back().m_identity;
}

std::string ShardManifest::getFileName(const uint32_t shard, const DictionaryIdentity& identity) {
    return getNameBegin(shard) + '-' + identity.toString();
}

std::string ShardManifest::getTemporaryFileName(const uint32_t shard) {
    return getNameBegin(shard).append(TEMPORARY_SUFFIX);
}

bool ShardManifest::isNameOfShard(std::string_view fileName) noexcept {
    if (!fileName.starts_with(NAME_PREFIX))
        return false;
    fileName.remove_prefix(NAME_PREFIX.size());
    const std::string_view number = fileName.substr(0, 2);
    if (number.size() != 2 || number.find_first_not_of(HEXADECIMAL_DIGITS) != std::string_view::npos)
        return false;
    fileName.remove_prefix(number.size());
    return fileName == TEMPORARY_SUFFIX ||
           (fileName.starts_with('-') && DictionaryIdentity::parse(fileName.substr(1)).has_value());
}

bool ShardManifest::isBeginningOf(InputStream& input) {
    return MANIFEST.isBeginningOf(input);
}

void ShardManifest::write(OutputStream& output) const {
    for (const Input& input : m_inputs)
        if (input.m_name.size() > LONGEST_INPUT_NAME)
            throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_INPUT_NAME_TOO_LONG,
                                  MelnarException::NO_CAUSES, "The name of an input has ", input.m_name.size(),
                                  " bytes, but may have no more than ", LONGEST_INPUT_NAME, ".");
    if (m_work.size() > LONGEST_WORK)
        throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_WORK_TOO_LONG, MelnarException::NO_CAUSES,
                              "Unfinished work has ", m_work.size(), " bytes, but may have no more than ", LONGEST_WORK,
                              ".");
    SectionOutputStream sections(output, MANIFEST);
    sections.writeUInt32(ShardLayout::NUMBER_OF_SHARDS);
    sections.writeUInt64(m_maximumNumberOfResourcesOfShard);
    for (const Shard& shard : m_shards) {
        sections.writeUInt64(shard.m_numberOfResources);
        sections.writeUInt64(shard.m_fileBytes);
        writeIdentity(shard.m_identity, sections);
    }
    sections.endSection();
    for (const Shard& shard : m_shards) {
        sections.writeUInt32(static_cast<uint32_t>(shard.m_terms.size()));
        for (const auto& [datatypeID, terms] : shard.m_terms) {
            sections.writeUInt32(datatypeID);
            sections.writeUInt64(terms.m_number);
            sections.writeUInt64(terms.m_formBytes);
        }
    }
    sections.endSection();
    sections.writeUInt64(m_nextDocument);
    sections.writeUInt64(m_inputs.size());
    for (const Input& input : m_inputs) {
        sections.writeString(input.m_name);
        sections.writeUInt64(input.m_numberOfStatements);
        sections.writeUInt32(input.m_isWhole ? 1 : 0);
    }
    sections.endSection();
    sections.writeUInt64(m_history.m_generation);
    sections.writeUInt64(m_history.m_entries.size());
    for (const DictionaryHistory::Entry& entry : m_history.m_entries) {
        sections.writeUInt64(entry.m_commitPoint);
        writeIdentity(entry.m_identity, sections);
    }
    sections.endSection();
    sections.writeString(m_work);
    sections.endSection();
    sections.endFile();
}

ShardManifest ShardManifest::read(InputStream& input) {
    SectionInputStream sections(input, MANIFEST);
    ShardManifest manifest;
    readShards(sections, manifest);
    readTerms(sections, manifest);
    readInputs(sections, manifest);
    readHistory(sections, manifest);
    sections.beginSection("work");
    manifest.m_work = readText(sections, "it", LONGEST_WORK);
    sections.endSection();
    sections.endFile();
    return manifest;
}
