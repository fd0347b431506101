#pragma once

#include <random>
#include <string>
#include <vector>

/// Texts with every kind of token, of all syntaxes, to be damaged.
extern const std::vector<std::string> TEXTS_TO_DAMAGE;

/// Changes a text in one to four places: inserts tokens and parts of tokens, removes bytes, repeats some.
void damageSnippet(std::string& text, std::mt19937& random);
