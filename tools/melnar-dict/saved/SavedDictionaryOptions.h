#pragma once

#include "tools/melnar-dict/shell/MemoryLimit.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <cstdint>
#include <memory>
#include <string>

class SavedDictionary;

/// The saved dictionary that a verb reads.
struct SavedDictionaryOptions {
    std::string m_dictionaryName;
    uint64_t m_memoryLimit = MemoryLimit::getDefault();
};

/// Opens the dictionary, to which nothing will be added, and applies the memory limit to the process.
std::unique_ptr<SavedDictionary> openDictionary(const SavedDictionaryOptions& options);

/// Adds the operand DICTIONARY and the option --memory-limit.
void addDictionary(VerbDescription& verb, SavedDictionaryOptions& variable);
