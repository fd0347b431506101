#include "tools/melnar-dict/saved/SaveDictionary.h"

#include "Engine/core/data-store/DictionaryFile.h"

using namespace melnar;

void saveDictionary(const Dictionary& dictionary, OutputLock& lock, const std::function<void()>& beforeReplacing) {
    OutputFile file(lock);
    DictionaryFile::write(dictionary, file.getStream());
    file.prepare();
    if (beforeReplacing)
        beforeReplacing();
    file.commit();
}

void saveDictionary(const Dictionary& dictionary, OutputLock& lock, OutputFile& other,
                    const std::function<void()>& completeOther) {
    OutputFile file(lock);
    DictionaryFile::write(dictionary, file.getStream());
    completeOther();
    OutputFile::commitBoth(other, file); // the dictionary last: without it, the other file is useless
}
