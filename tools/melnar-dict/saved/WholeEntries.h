#pragma once

#include "tools/melnar-dict/saved/SavedDictionary.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Completes the lexical form of an entry that the dictionary, a Dictionary or a SavedDictionary, has read: it is
/// assembled in `form` if it is stored in two parts.
template<class AnyDictionary>
void makeWhole(const AnyDictionary& dictionary, BatchEntry& entry, std::string& form) {
    if (entry.m_affixNumber == 0)
        return;
    form.clear();
    dictionary.appendLexicalForm(entry, form);
    entry.m_lexicalForm = form;
    entry.m_affixNumber = 0;
}

/// Calls `visit` for every resource in ascending order of the IDs, with an entry that has its whole lexical form until
/// the next call.
template<class Visit>
void forEachWholeEntry(const Dictionary& dictionary, const Visit& visit) {
    constexpr uint64_t RESOURCES_OF_A_GROUP = 1024; // enough for the dictionary to work at full speed
    const uint64_t endResourceID = dictionary.getNextResourceID();
    std::vector<BatchEntry> entries;
    std::string form;
    for (uint64_t begin = 1; begin < endResourceID; begin += RESOURCES_OF_A_GROUP) {
        entries.resize(std::min(RESOURCES_OF_A_GROUP, endResourceID - begin));
        for (size_t index = 0; index < entries.size(); ++index)
            entries[index].m_resourceID = begin + index;
        dictionary.getResources(entries);
        for (BatchEntry& entry : entries)
            if (entry.m_datatypeID != D_INVALID) {
                makeWhole(dictionary, entry, form);
                visit(entry);
            }
    }
}

/// Does the same with IDs of the whole dictionary.
template<class Visit>
void forEachWholeEntry(const SavedDictionary::Part& part, const Visit& visit) {
    forEachWholeEntry(part.m_dictionary, [&](BatchEntry& entry) {
        entry.m_resourceID = part.toIDOfWhole(entry.m_resourceID);
        visit(entry);
    });
}
