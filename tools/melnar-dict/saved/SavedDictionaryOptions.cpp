#include "tools/melnar-dict/saved/SavedDictionaryOptions.h"

#include "tools/melnar-dict/saved/OpenDictionary.h"
#include "tools/melnar-dict/shell/SharedOptions.h"

void addDictionary(VerbDescription& verb, SavedDictionaryOptions& variable) {
    verb.addFileOperand("DICTIONARY", "a dictionary", variable.m_dictionaryName);
    addMemoryLimit(verb, variable.m_memoryLimit);
}

std::unique_ptr<Dictionary> openDictionary(const SavedDictionaryOptions& options) {
    return openToRead(options.m_dictionaryName, MemoryLimit::apply(options.m_memoryLimit, 1));
}
