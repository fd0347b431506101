#pragma once

#include "tools/melnar-dict/shell/PhysicalMemory.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <cstdint>
#include <string>

/// The saved dictionary that a verb works on.
struct SavedDictionaryOptions {
    std::string m_dictionaryName;
    uint64_t m_memoryLimit = getPhysicalMemory();
};

/// Adds the operand DICTIONARY and the option --memory-limit.
void addDictionary(VerbDescription& verb, SavedDictionaryOptions& variable);
