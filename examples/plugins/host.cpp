// host PLUGIN PLUGIN: loads two modules that each contain the library. Neither sees the other: each has its dictionary,
// its datatypes and its threads' slots. The program itself knows nothing of dictionaries, and links no library of them.

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <thread>

#include <dlfcn.h>

namespace {

class Plugin {
public:
    explicit Plugin(const char* const fileName) : m_module(dlopen(fileName, RTLD_NOW | RTLD_LOCAL)) {
        if (m_module == nullptr)
            fail();
        find("encode", m_encode);
        find("decode", m_decode);
        find("countStrings", m_countStrings);
    }

    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    /// The system unloads the module, with its dictionary, once all threads that have used it have ended.
    ~Plugin() { dlclose(m_module); }

    uint64_t (*m_encode)(const char* text);
    const char* (*m_decode)(uint64_t resourceID);
    uint64_t (*m_countStrings)();

private:
    template<class Function>
    void find(const char* const name, Function*& function) const {
        function = reinterpret_cast<Function*>(dlsym(m_module, name));
        if (function == nullptr)
            fail();
    }

    [[noreturn]] static void fail() {
        std::cerr << dlerror() << '\n';
        std::_Exit(EXIT_FAILURE);
    }

    void* m_module;
};

} // namespace

int main(const int numberOfArguments, char** const arguments) {
    if (numberOfArguments != 3) {
        std::cerr << "usage: host PLUGIN PLUGIN\n";
        return EXIT_FAILURE;
    }
    const Plugin cities(arguments[1]);
    const Plugin rivers(arguments[2]);
    std::thread other([&rivers] {
        for (const char* const river : {"Rhine", "Seine", "Tiber"})
            rivers.m_encode(river);
    });
    for (const char* const city : {"Berlin", "Paris", "Berlin"})
        cities.m_encode(city);
    other.join();
    std::cout << "cities: " << cities.m_countStrings() << ", number 1 is " << cities.m_decode(1) << '\n';
    std::cout << "rivers: " << rivers.m_countStrings() << ", number 1 is " << rivers.m_decode(1) << '\n';
}
