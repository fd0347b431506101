#pragma once

#include <string>

class Dictionary;

/// Saves a dictionary so that an interruption leaves the old file and no temporary one.
void saveDictionary(const Dictionary& dictionary, const std::string& fileName);
