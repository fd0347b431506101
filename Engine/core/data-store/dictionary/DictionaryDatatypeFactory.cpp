#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"

#include "Engine/core/data-store/dictionary/StringDatatypeFactory.h"

#include <algorithm>
#include <array>
#include <map>

namespace {

using FactoriesByName = std::map<std::string, const DictionaryDatatypeFactory*>;

struct Registry {
    std::array<const DictionaryDatatypeFactory*, NUMBER_OF_DATATYPE_IDS> m_factoriesByID{};
    FactoriesByName m_factoriesByName;
};

/// Constructed by the first factory, whichever file that is in. So it exists before any factory is complete, and is
/// destroyed after the last one.
Registry& getRegistry() {
    static Registry s_registry;
    return s_registry;
}

/// Returns the registry for lookups of factories. The call makes a linker take the factory of strings from an archive,
/// although nothing else refers to it.
const Registry& getCompleteRegistry() {
    StringDatatypeFactory::getInstance();
    return getRegistry();
}

} // namespace

DictionaryDatatypeFactory::DictionaryDatatypeFactory(
    const std::initializer_list<std::pair<uint8_t, std::string>> supportedDatatypes)
    : m_supportedDatatypes(supportedDatatypes) {
    Registry& registry = getRegistry();
    for (const auto& [datatypeID, datatypeName] : m_supportedDatatypes)
        if (registry.m_factoriesByID[datatypeID] != nullptr || registry.m_factoriesByName.contains(datatypeName))
            return;
    FactoriesByName factoriesByName; // separate, so that a factory is registered completely or not at all
    for (const auto& [datatypeID, datatypeName] : m_supportedDatatypes)
        factoriesByName[datatypeName] = this;
    registry.m_factoriesByName.merge(factoriesByName);
    for (const auto& [datatypeID, datatypeName] : m_supportedDatatypes)
        registry.m_factoriesByID[datatypeID] = this;
}

DictionaryDatatypeFactory::~DictionaryDatatypeFactory() {
    // Another factory may be registered under the same ID and name.
    Registry& registry = getRegistry();
    for (const auto& [datatypeID, datatypeName] : m_supportedDatatypes) {
        if (registry.m_factoriesByID[datatypeID] == this)
            registry.m_factoriesByID[datatypeID] = nullptr;
        const auto found = registry.m_factoriesByName.find(datatypeName);
        if (found != registry.m_factoriesByName.end() && found->second == this)
            registry.m_factoriesByName.erase(found);
    }
}

const DictionaryDatatypeFactory* DictionaryDatatypeFactory::getFactory(const uint8_t datatypeID) noexcept {
    return getCompleteRegistry().m_factoriesByID[datatypeID];
}

const DictionaryDatatypeFactory* DictionaryDatatypeFactory::getFactory(const std::string& datatypeName) noexcept {
    const Registry& registry = getCompleteRegistry();
    const auto found = registry.m_factoriesByName.find(datatypeName);
    return found == registry.m_factoriesByName.end() ? nullptr : found->second;
}

std::vector<const DictionaryDatatypeFactory*> DictionaryDatatypeFactory::getFactories() {
    std::vector<const DictionaryDatatypeFactory*> factories;
    for (const DictionaryDatatypeFactory* const factory : getCompleteRegistry().m_factoriesByID)
        if (factory != nullptr && std::find(factories.begin(), factories.end(), factory) == factories.end())
            factories.push_back(factory);
    return factories;
}
