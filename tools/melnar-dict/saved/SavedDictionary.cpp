#include "tools/melnar-dict/saved/SavedDictionary.h"

#include "tools/melnar-dict/saved/FileDictionary.h"
#include "tools/melnar-dict/saved/FolderDictionary.h"
#include "tools/melnar-dict/saved/OpenDictionary.h"

#include <filesystem>
#include <system_error>

std::unique_ptr<SavedDictionary> SavedDictionary::open(const std::string& name, const size_t memoryLimit) {
    if (std::error_code error; !std::filesystem::is_directory(name, error))
        return std::make_unique<FileDictionary>(openToRead(name, memoryLimit));
    return std::make_unique<FolderDictionary>(name, memoryLimit);
}
