#include "tools/melnar-dict/saved/SavedDictionaryOptions.h"

#include "tools/melnar-dict/saved/SavedDictionary.h"
#include "tools/melnar-dict/shell/SharedOptions.h"

void addDictionary(VerbDescription& verb, SavedDictionaryOptions& variable) {
    verb.addFileOperand("DICTIONARY", "a dictionary", variable.m_dictionaryName);
    addMemoryLimit(verb, variable.m_memoryLimit);
}

std::unique_ptr<SavedDictionary> openDictionary(const SavedDictionaryOptions& options) {
    return SavedDictionary::open(options.m_dictionaryName, MemoryLimit::apply(options.m_memoryLimit, 1));
}
