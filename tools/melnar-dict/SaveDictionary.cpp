#include "tools/melnar-dict/SaveDictionary.h"

#include "tools/melnar-dict/Interruption.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"

void saveDictionary(const Dictionary& dictionary, const std::string& fileName) {
    const TemporaryFileWhenInterrupted temporaryFile(AtomicFileOutputStream::getTemporaryFileName(fileName));
    dictionary.save(fileName);
}
