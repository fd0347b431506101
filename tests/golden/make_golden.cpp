/// Makes the golden files of the present format version:   make-golden FOLDER
///
/// A file that is in the repository is never made anew: it stands for the dictionaries that people have. A new format
/// version gets files of its own beside the old ones.

#include "tests/golden/GoldenDictionary.h"

#include <exception>
#include <iostream>
#include <string>

int main(const int argumentCount, const char* const* const arguments) {
    if (argumentCount != 2) {
        std::cerr << "usage: make-golden FOLDER\n";
        return 2;
    }
    try {
        const std::string folder = arguments[1];
        GoldenDictionary::make(GoldenDictionary::NARROW_MAXIMUM)->save(folder + "/dictionary-narrow-v2.dict");
        GoldenDictionary::make(GoldenDictionary::WIDE_MAXIMUM)->save(folder + "/dictionary-wide-v2.dict");
    } catch (const std::exception& exception) {
        std::cerr << "make-golden: " << exception.what() << '\n';
        return 1;
    }
    return 0;
}
