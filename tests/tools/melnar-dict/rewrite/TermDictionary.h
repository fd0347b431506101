#pragma once

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/pieces/BlankNodeOptions.h"

#include <string>
#include <vector>

/// Saves a dictionary of all terms of files. IDs are in the order in which the terms first appear.
void saveTermDictionary(const InputFiles& files, const std::string& dictionaryName,
                        const BlankNodeOptions& blankNodes = {}, const std::string& base = "",
                        Rdf::Version version = Rdf::Version::RDF_1_2);

/// The same with files whose names determine their formats.
void saveTermDictionary(const std::vector<std::string>& fileNames, const std::string& dictionaryName,
                        const BlankNodeOptions& blankNodes = {});
