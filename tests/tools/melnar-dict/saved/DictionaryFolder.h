#pragma once

#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// Makes folders of dictionaries, and inspects them.
namespace DictionaryFolder {

/// Adds all terms of a dictionary to the folder of this name, in the order of their IDs. Makes the folder if it does
/// not exist.
void add(const Dictionary& dictionary, const std::string& folderName,
         ShardedDictionary::State state = ShardedDictionary::State::WHOLE);

/// The same with the dictionary of a file.
void add(const std::string& fileName, const std::string& folderName,
         ShardedDictionary::State state = ShardedDictionary::State::WHOLE);

ShardManifest readManifest(const std::string& folderName);

/// Replaces the manifest of the folder.
void writeManifest(const ShardManifest& manifest, const std::string& folderName);

/// Returns the path of a shard's file, which must exist.
std::string getPathOf(const std::string& folderName, uint32_t shard);

/// Removes the files of all shards but these.
void keepOnly(const std::vector<uint32_t>& shards, const std::string& folderName);

} // namespace DictionaryFolder
