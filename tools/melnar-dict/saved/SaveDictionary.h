#pragma once

#include "tools/melnar-dict/shell/OutputFile.h"
#include "tools/melnar-dict/shell/OutputLock.h"

#include <functional>

class Dictionary;

/// Saves a dictionary to the locked file. An interruption leaves the old file or the new one, and no temporary one.
/// `beforeReplacing` is called when the new file is on the disk and has not replaced the old one yet; if it throws, the
/// old one stays.
void saveDictionary(const Dictionary& dictionary, OutputLock& lock,
                    const std::function<void()>& beforeReplacing = nullptr);

/// Does the same together with another file, so that both appear or neither; see OutputFile::commitBoth.
/// `completeOther` is called when the dictionary's history contains the identity of the saved state.
void saveDictionary(const Dictionary& dictionary, OutputLock& lock, OutputFile& other,
                    const std::function<void()>& completeOther);
