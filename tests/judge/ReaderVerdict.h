#pragma once

#include "tests/judge/JudgedStatements.h"

#include "Reader/ReaderOptions.h"

#include <string>
#include <string_view>

/// The results of the reader for a text, in the form of a Judgement.
struct ReaderVerdict {
    std::string m_error; // empty if it accepts
    JudgedStatements m_statements;
};

ReaderVerdict readStrictly(std::string_view text, const Rdf::ReaderOptions& options);
