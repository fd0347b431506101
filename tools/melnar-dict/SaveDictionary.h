#pragma once

#include <functional>
#include <string>

class Dictionary;

/// Saves a dictionary so that an interruption leaves the old file or the new one, and no temporary one.
/// `beforeReplacing` is called when the new file is on the disk and the old one is still in its place; if it throws,
/// the old one stays.
void saveDictionary(const Dictionary& dictionary, const std::string& fileName,
                    const std::function<void()>& beforeReplacing = nullptr);
