#pragma once

#include "Engine/core/data-store/terms/TermColumn.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/DictionaryModel.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Uses every operation of a dictionary from a file that may be forged. Its results may be wrong; it must not crash or
/// hang.
class DictionaryUse {
public:
    DictionaryUse() = delete;

    /// Resolves `numberOfLiterals` of each kind, after the operations that need no new ones.
    static void useAll(Dictionary& dictionary, const size_t numberOfLiterals) {
        attempt([&] { dictionary.verify(); });
        readAll(dictionary);
        for (const DictionaryCommitPoint commitPoint : {dictionary.getCommitPoint(), DictionaryCommitPoint::ALL})
            for (const char* const form : {"abc", "", "7", "gone", "def", "nothing"})
                attempt([&] { static_cast<void>(dictionary.tryResolveResource(commitPoint, form, D_XSD_STRING)); });
        attempt([&] { static_cast<void>(dictionary.getComponentInfo()); });
        attempt([&] { static_cast<void>(dictionary.getDetailedComponentInfo()); });
        attempt([&] { static_cast<void>(dictionary.getTableProfiles(1024)); });
        DictionaryThread thread(dictionary);
        resolve(dictionary, thread, 20);
        dictionary.rollback();
        resolve(dictionary, thread, numberOfLiterals);
        dictionary.commit();
        writeToMemory(dictionary);
        attempt([&] {
            dictionary.compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 3 != 0; });
        });
        attempt([&] { dictionary.compact(); });
        resolve(dictionary, thread, 20);
        writeToMemory(dictionary);
    }

private:
    /// Runs an operation that may only refuse: an invalid literal, an ID without a resource, or for lack of memory.
    template<class Action>
    static void attempt(const Action& action) {
        try {
            action();
        } catch (const MelnarException&) {
        }
    }

    static void readAll(const Dictionary& dictionary) {
        std::string text;
        std::vector<BatchEntry> entries;
        for (uint64_t resourceID = 0; resourceID < dictionary.getNextResourceID() + 2; ++resourceID)
            entries.push_back({{}, resourceID});
        dictionary.getResources(entries);
        std::vector<uint64_t> resourceIDs;
        TermColumn column;
        for (const BatchEntry& entry : entries)
            resourceIDs.push_back(entry.m_resourceID);
        dictionary.getTerms(resourceIDs, column);
        for (const BatchEntry& entry : entries)
            if (entry.m_datatypeID != D_INVALID)
                dictionary.appendLexicalForm(entry, text);
        for (uint64_t resourceID = 0; resourceID < dictionary.getNextResourceID() + 2; ++resourceID) {
            attempt([&] { static_cast<void>(dictionary.getTerm(resourceID, text)); });
            attempt([&] {
                text.clear();
                dictionary.appendTurtleLiteral(resourceID, text);
            });
        }
    }

    /// Resolves literals one by one and in a batch.
    static void resolve(Dictionary& dictionary, DictionaryThread& thread, const size_t numberOfLiterals) {
        for (size_t number = 0; number < numberOfLiterals; ++number) {
            attempt([&] { dictionary.resolveResource(thread, std::to_string(number), D_XSD_STRING); });
            attempt([&] { dictionary.resolveResource(thread, std::to_string(number) + "@en", D_RDF_PLAIN_LITERAL); });
            for (const uint8_t datatypeID : {D_IRI, D_TYPED_LITERAL})
                attempt([&] {
                    dictionary.resolveResource(thread, std::to_string(number) + "^^http://example.org/1", datatypeID);
                });
        }
        std::vector<DictionaryModel::Literal> literals;
        for (uint32_t number = 0; number < numberOfLiterals; ++number)
            literals.push_back(DictionaryModel::makeLiteral(number));
        std::vector<BatchEntry> entries;
        for (const DictionaryModel::Literal& literal : literals)
            entries.push_back({literal.m_lexicalForm, 0, literal.m_datatypeID});
        std::vector<BatchFailure> failures;
        dictionary.resolveResources(thread, entries, failures);
    }
};
