#include "tools/melnar-dict/saved/SaveDictionary.h"

#include "tools/melnar-dict/shell/OutputFile.h"

#include "Engine/core/data-store/DictionaryFile.h"

void saveDictionary(const Dictionary& dictionary, OutputLock& lock, const std::function<void()>& beforeReplacing) {
    OutputFile file(lock);
    DictionaryFile::write(dictionary, file.getStream());
    file.prepare();
    if (beforeReplacing)
        beforeReplacing();
    file.commit();
}
