/// Makes the golden files of the current format version:   make-golden FOLDER
///
/// A file in the repository is never regenerated: it represents the dictionaries of users. A new format version gets
/// its own files beside the old ones.

#include "tests/golden/GoldenDictionary.h"

#include <exception>
#include <iostream>
#include <string>
#include <utility>

int main(const int argumentCount, const char* const* const arguments) {
    if (argumentCount != 2) {
        std::cerr << "usage: make-golden FOLDER\n";
        return 2;
    }
    try {
        const std::string folder = arguments[1];
        for (const auto& [width, maximum] : {std::pair("narrow", GoldenDictionary::NARROW_MAXIMUM),
                                             std::pair("wide", GoldenDictionary::WIDE_MAXIMUM)}) {
            const std::string end = std::string(width) + "-v2.dict";
            GoldenDictionary::make(GoldenDictionary::getStrings(), maximum)->save(folder + "/dictionary-" + end);
            GoldenDictionary::make(GoldenDictionary::getTerms(), maximum)->save(folder + "/dictionary-terms-" + end);
        }
    } catch (const std::exception& exception) {
        std::cerr << "make-golden: " << exception.what() << '\n';
        return 1;
    }
    return 0;
}
