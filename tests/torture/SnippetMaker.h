#pragma once

#include "tests/judge/Judge.h"
#include "tests/judge/TextMaker.h"

#include "Reader/ReaderOptions.h"

#include <array>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// A text with everything that is needed to read it.
struct Snippet {
    Rdf::Syntax m_syntax;
    Rdf::Version m_version;
    std::string m_base; // empty if there is none
    std::string m_text;

    Rdf::ReaderOptions getOptions() const;

    /// Returns all members, to reproduce it.
    std::string describe() const;
};

/// Makes random snippets, and has the judges for them.
class SnippetMaker {
public:
    /// The rules replace those of the judges. The snippets do not depend on them.
    explicit SnippetMaker(std::string_view otherRules = "");

    /// Makes a snippet of any syntax and version, valid or slightly damaged.
    Snippet make(std::mt19937& random) const;

    /// Makes a text that the grammar of a syntax derives. Usually, but not always, it is accepted.
    std::string makeSound(Rdf::Syntax syntax, Rdf::Version version, std::mt19937& random) const;

    Judgement judge(const Snippet& snippet);

private:
    struct Grammar {
        std::unique_ptr<Judge> m_judge;
        std::unique_ptr<Judge> m_source; // of the rules from which texts are derived
        std::unique_ptr<TextMaker> m_maker;
    };

    static constexpr size_t NUMBER_OF_SYNTAXES = 4;

    const Grammar& getGrammar(Rdf::Syntax syntax, Rdf::Version version) const;

    std::array<std::array<Grammar, 2>, NUMBER_OF_SYNTAXES> m_grammars;
    std::array<std::vector<std::string>, NUMBER_OF_SYNTAXES> m_texts; // from the W3C
};
