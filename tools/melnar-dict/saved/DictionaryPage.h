#pragma once

#include "tools/melnar-dict/saved/DictionaryPortrait.h"

#include <string>
#include <string_view>

/// How every page of a dictionary begins, and nothing else is likely to.
extern const std::string_view BEGINNING_OF_A_DICTIONARY_PAGE;

/// An HTML page that shows a dictionary to people: all in one file, which loads nothing and runs nothing.
std::string toDictionaryPage(const DictionaryPortrait& portrait);
