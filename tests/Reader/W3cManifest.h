#pragma once

#include "Reader/ReaderOptions.h"

#include <string>
#include <utility>
#include <vector>

/// A test of the W3C's suites.
struct W3cTest {
    std::string m_name;
    std::string m_type;   // such as TestTurtleEval
    std::string m_base;   // the IRI of the input
    std::string m_action; // the path of the input
    std::string m_result; // the path of the expected result, or nothing
};

/// Reads the entries of the manifest in a folder; `base` is its IRI.
std::vector<W3cTest> readW3cManifest(const std::string& folder, const std::string& base);

std::string readWholeFile(const std::string& path);

/// Returns the paths and syntaxes of the Turtle and TriG files below a folder.
std::vector<std::pair<std::string, Rdf::Syntax>> findTurtleFiles(const std::string& folder);
