#include "tools/melnar-dict/saved/ShardsCommand.h"

#include "tools/melnar-dict/saved/FigureText.h"
#include "tools/melnar-dict/saved/FolderDictionary.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/SharedOptions.h"

#include "Engine/core/platform/stream/FileInputStream.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

using namespace melnar;

namespace {

constexpr const char* TEXT = R"(
Describes the dictionary of a folder; reads only its manifest. Prints the number
of terms, the saved states, the files that have been loaded, and for each shard
that has terms their number and its file. A skew is the size of the largest
shard divided by the mean; it is 1 if all shards have the same size.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 2 wrong command line, 3 there is no such folder, or its manifest cannot
be read.
)";

using Shard = ShardManifest::Shard;

uint64_t getSum(const ShardManifest& manifest, uint64_t Shard::*const number) {
    uint64_t sum = 0;
    for (const Shard& shard : manifest.m_shards)
        sum += shard.*number;
    return sum;
}

/// Returns the largest shard divided by the mean of all shards; 0 if the mean is 0.
double getSkew(const ShardManifest& manifest, uint64_t Shard::*const number) {
    const uint64_t sum = getSum(manifest, number);
    const uint64_t largest = std::ranges::max_element(manifest.m_shards, {}, number)->*number;
    return sum == 0 ? 0 : static_cast<double>(largest) * ShardLayout::NUMBER_OF_SHARDS / static_cast<double>(sum);
}

/// Calls `visit(number, shard)` for each shard that has terms.
template<class Visit>
void forEachShardInUse(const ShardManifest& manifest, const Visit& visit) {
    for (uint32_t number = 0; number < ShardLayout::NUMBER_OF_SHARDS; ++number)
        if (manifest.m_shards[number].m_numberOfResources != 0)
            visit(number, manifest.m_shards[number]);
}

uint32_t countShardsInUse(const ShardManifest& manifest) {
    uint32_t count = 0;
    forEachShardInUse(manifest, [&count](uint32_t, const Shard&) { ++count; });
    return count;
}

template<class... Values>
void append(std::string& text, const char* const format, const Values... values) {
    std::array<char, 128> line;
    std::snprintf(line.data(), line.size(), format, values...);
    text += line.data();
}

std::string toText(const ShardManifest& manifest) {
    std::string text;
    const auto appendFigure = [&text](const char* const name, const std::string& value) {
        append(text, "%-28s %32s\n", name, value.c_str());
    };
    const auto& states = manifest.m_history.m_entries;
    appendFigure("terms", std::to_string(manifest.getNumberOfResources()));
    appendFigure("shards in use", std::to_string(countShardsInUse(manifest)));
    appendFigure("bytes of files", std::to_string(getSum(manifest, &Shard::m_fileBytes)));
    appendFigure("skew of terms", toDecimalText(getSkew(manifest, &Shard::m_numberOfResources)));
    appendFigure("skew of bytes", toDecimalText(getSkew(manifest, &Shard::m_fileBytes)));
    appendFigure("saved states", std::to_string(states.size()));
    appendFigure("identity", states.empty() ? "none" : states.back().m_identity.toString());
    appendFigure("complete", manifest.getIdentityOfWholeState().has_value() ? "yes" : "no");
    appendFigure("next document", std::to_string(manifest.m_nextDocument));
    if (!manifest.m_inputs.empty())
        append(text, "\n%12s  %s\n", "statements", "input");
    for (const ShardManifest::Input& input : manifest.m_inputs) {
        append(text, "%12s  ", std::to_string(input.m_numberOfStatements).c_str());
        text += toPrintable(input.m_name) + (input.m_isWhole ? "\n" : ", not whole\n");
    }
    append(text, "\n%5s %12s %14s  %s\n", "shard", "terms", "bytes", "file");
    forEachShardInUse(manifest, [&](const uint32_t number, const Shard& shard) {
        append(text, "%5u %12s %14s  %s\n", static_cast<unsigned>(number),
               std::to_string(shard.m_numberOfResources).c_str(), std::to_string(shard.m_fileBytes).c_str(),
               manifest.getFileName(number).c_str());
    });
    return text;
}

Json toJson(const ShardManifest& manifest, const std::string& folderName) {
    const auto& states = manifest.m_history.m_entries;
    Json json{{"dictionary", folderName},
              {"terms", manifest.getNumberOfResources()},
              {"shardsInUse", countShardsInUse(manifest)},
              {"fileBytes", getSum(manifest, &Shard::m_fileBytes)},
              {"termSkew", getSkew(manifest, &Shard::m_numberOfResources)},
              {"byteSkew", getSkew(manifest, &Shard::m_fileBytes)},
              {"identity", nullptr},
              {"states", Json::array()},
              {"isComplete", manifest.getIdentityOfWholeState().has_value()},
              {"nextDocument", manifest.m_nextDocument},
              {"inputs", Json::array()},
              {"shards", Json::array()}};
    if (!states.empty())
        json["identity"] = states.back().m_identity.toString();
    for (const DictionaryHistory::Entry& state : states)
        json["states"].push_back({{"terms", state.m_commitPoint - 1}, {"identity", state.m_identity.toString()}});
    for (const ShardManifest::Input& input : manifest.m_inputs)
        json["inputs"].push_back(
            {{"name", input.m_name}, {"statements", input.m_numberOfStatements}, {"isWhole", input.m_isWhole}});
    forEachShardInUse(manifest, [&](const uint32_t number, const Shard& shard) {
        json["shards"].push_back({{"shard", number},
                                  {"terms", shard.m_numberOfResources},
                                  {"fileBytes", shard.m_fileBytes},
                                  {"file", manifest.getFileName(number)}});
    });
    return json;
}

} // namespace

VerbDescription describeShards(ShardsOptions& options) {
    VerbDescription verb{"shards",
                         "describe a folder of shards by its manifest",
                         TEXT,
                         EXIT_CODES,
                         {{"shards dump.shards", "Prints the contents of the folder, and the size of each shard."}}};
    verb.addFileOperand("FOLDER", "a folder", options.m_folderName);
    addJson(verb, JsonLayout::DOCUMENT, options.m_asksForJson);
    return verb;
}

ExitCode runShards(const ShardsOptions& options, StandardOutput& output, std::ostream&) {
    FileInputStream input(FolderDictionary::requireFolder(options.m_folderName) + '/' + ShardManifest::FILE_NAME);
    const ShardManifest manifest = ShardManifest::read(input);
    output.write(options.m_asksForJson ? toText(toJson(manifest, options.m_folderName), JsonLayout::DOCUMENT)
                                       : toText(manifest));
    output.flush();
    return ExitCode::DONE;
}
