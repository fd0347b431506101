// host global|local PLUGIN PLUGIN: loads two plugins, uses both, and unloads them.

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>

namespace {

void require(const bool condition, const std::string& claim) {
    if (!condition) {
        std::cerr << "not so: " << claim << '\n';
        std::_Exit(EXIT_FAILURE);
    }
}

class Plugin {
public:
    Plugin(const char* const fileName, const int flags) : m_library(dlopen(fileName, RTLD_NOW | flags)) {
        require(m_library != nullptr,
                "the plugin is loaded, but: " + std::string(m_library == nullptr ? dlerror() : ""));
        find("resolveText", m_resolveText);
        find("countResources", m_countResources);
        find("getStringFactory", m_getStringFactory);
        find("refuseText", m_refuseText);
    }

    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;
    ~Plugin() { require(dlclose(m_library) == 0, "the plugin is unloaded"); }

    uint64_t (*m_resolveText)(const char*);
    uint64_t (*m_countResources)();
    const void* (*m_getStringFactory)();
    void (*m_refuseText)();

private:
    template<class Function>
    void find(const char* const name, Function& function) const {
        function = reinterpret_cast<Function>(dlsym(m_library, name));
        require(function != nullptr, name + std::string(" is exported"));
    }

    void* m_library;
};

constexpr uint64_t NUMBER_OF_TEXTS = 1000;

void resolveTexts(const Plugin& plugin, const uint64_t numberOfTexts) {
    for (uint64_t number = 0; number < numberOfTexts; ++number)
        plugin.m_resolveText(std::to_string(number).c_str());
}

bool isRefused(const Plugin& plugin) {
    try {
        plugin.m_refuseText();
    } catch (const std::exception& exception) {
        return std::string(exception.what()).find("no tag") != std::string::npos;
    }
    return false;
}

} // namespace

int main(const int numberOfArguments, char** const arguments) {
    require(numberOfArguments == 4, "there are three arguments");
    const int flags = std::string(arguments[1]) == "global" ? RTLD_GLOBAL : RTLD_LOCAL;
    const Plugin first(arguments[2], flags);
    const Plugin second(arguments[3], flags);
    require(first.m_getStringFactory() != second.m_getStringFactory(), "each plugin has datatypes of its own");

    // The second has fewer texts, so the two dictionaries cannot be confused.
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 2; ++thread) {
        threads.emplace_back([&first] { resolveTexts(first, NUMBER_OF_TEXTS); });
        threads.emplace_back([&second] { resolveTexts(second, NUMBER_OF_TEXTS / 2); });
    }
    for (std::thread& thread : threads)
        thread.join();
    require(first.m_countResources() == NUMBER_OF_TEXTS, "the first dictionary has its texts");
    require(second.m_countResources() == NUMBER_OF_TEXTS / 2, "the second dictionary has its texts");
    require(isRefused(first) && isRefused(second), "the failures of both are caught");
    return EXIT_SUCCESS;
}
