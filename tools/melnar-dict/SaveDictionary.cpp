#include "tools/melnar-dict/SaveDictionary.h"

#include "tools/melnar-dict/OutputFile.h"

#include "Engine/core/data-store/DictionaryFile.h"

void saveDictionary(const Dictionary& dictionary, const std::string& fileName,
                    const std::function<void()>& beforeReplacing) {
    OutputFile file(fileName);
    DictionaryFile::write(dictionary, file.getStream());
    file.prepare();
    if (beforeReplacing)
        beforeReplacing();
    file.commit();
}
