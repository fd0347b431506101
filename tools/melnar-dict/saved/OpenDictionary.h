#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <cstdint>
#include <memory>
#include <string>

/// Opens a saved dictionary. Throws ToolFailure for one of other terms than strings, as the library can make: the tool
/// neither prints nor counts those yet. `typedName` is what the user calls the file.
inline std::unique_ptr<Dictionary> openDictionaryOfStrings(const std::string& fileName, const std::string& typedName,
                                                           const uint64_t memoryLimit,
                                                           const DictionaryOptions& options) {
    std::unique_ptr<Dictionary> dictionary = Dictionary::open(fileName, memoryLimit, options);
    for (const uint8_t datatypeID : {D_IRI, D_BLANK_NODE, D_TYPED_LITERAL, D_DIRECTIONAL_STRING, D_TRIPLE_TERM})
        if (dictionary->mayHaveResources(datatypeID))
            throw ToolFailure(ExitCode::FAILURE, "the dictionary '" + toPrintable(typedName) +
                                                     "' has other terms than strings, which this version cannot read");
    return dictionary;
}

/// The same to which no literal will be added. So no address space is reserved beyond what it holds.
inline std::unique_ptr<Dictionary> openToRead(const std::string& fileName, const std::string& typedName,
                                              const uint64_t memoryLimit) {
    return openDictionaryOfStrings(fileName, typedName, memoryLimit, {.m_canGrow = false});
}

inline std::unique_ptr<Dictionary> openToRead(const std::string& fileName, const uint64_t memoryLimit) {
    return openToRead(fileName, fileName, memoryLimit);
}
