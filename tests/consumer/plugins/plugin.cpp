// A plugin that contains the libraries and has its own dictionary, initialised when it is loaded. The program that
// loads two copies of it knows nothing about dictionaries.

#include "Melnar.h"

#include <cstdint>

#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

PLUGIN_EXPORT uint64_t resolveText(const char* text);
PLUGIN_EXPORT uint64_t countResources();
PLUGIN_EXPORT const void* getStringFactory();
PLUGIN_EXPORT void refuseText();

namespace {

Dictionary s_dictionary({.m_memoryLimit = size_t{256} << 20});

} // namespace

uint64_t resolveText(const char* const text) {
    DictionaryThread thread(s_dictionary);
    return s_dictionary.resolveResource(thread, text, D_XSD_STRING);
}

uint64_t countResources() {
    return s_dictionary.getNextResourceID() - 1;
}

const void* getStringFactory() {
    return DictionaryDatatypeFactory::getFactory(D_XSD_STRING);
}

void refuseText() {
    DictionaryThread thread(s_dictionary);
    static_cast<void>(s_dictionary.resolveResource(thread, "no tag", D_RDF_PLAIN_LITERAL));
}
