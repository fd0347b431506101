// A plugin that contains the library and has a dictionary of its own. It exports three functions for C, and nothing
// else: the symbols of the library are hidden, and the build hides the inline functions of the headers.

#include "Melnar.h"

#include <cstdint>

#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

/// A static object is ready before the first function is called, and its datatypes with it.
Dictionary s_dictionary({.m_memoryLimit = size_t(64) << 20});

} // namespace

PLUGIN_EXPORT uint64_t encode(const char* const text) noexcept {
    try {
        DictionaryThread thread(s_dictionary);
        return s_dictionary.resolveResource(thread, text, D_XSD_STRING);
    } catch (...) {
        return 0; // No exception passes through an interface for C.
    }
}

/// Returns the dictionary's own bytes, which stay where they are until the plugin is unloaded, or null.
PLUGIN_EXPORT const char* decode(const uint64_t resourceID) noexcept {
    try {
        return s_dictionary.getLexicalForm(resourceID).data();
    } catch (...) {
        return nullptr;
    }
}

PLUGIN_EXPORT uint64_t countStrings() noexcept {
    return s_dictionary.size();
}
