#include "tests/Reader/GraphIsomorphism.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

namespace {

/// Statements divided into blank nodes and the text between them.
using Line = std::vector<std::string>;
using Graph = std::vector<Line>;
using Colours = std::map<std::string, size_t>;

bool isBlankNode(const std::string& piece) {
    return piece.starts_with("_:");
}

Graph makeGraph(const std::string_view statements) {
    std::set<Line> lines;
    Line line;
    for (size_t begin = 0; begin < statements.size();) {
        // Terms are separated by spaces. A text in quotes, which may contain spaces and labels, is one piece.
        size_t end = begin;
        if (statements[begin] == '"') {
            for (++end; statements[end] != '"'; ++end)
                if (statements[end] == '\\')
                    ++end;
            ++end;
        } else {
            end = std::min(statements.find_first_of(" \n\"", begin), statements.size());
            end = std::max(end, begin + 1);
        }
        line.emplace_back(statements.substr(begin, end - begin));
        if (statements[begin] == '\n') {
            lines.insert(line);
            line.clear();
        }
        begin = end;
    }
    return {lines.begin(), lines.end()};
}

size_t combine(const size_t left, const size_t right) {
    return (left ^ (right + 0x9E3779B97F4A7C15u + (left << 6) + (left >> 2))) * 0xFF51AFD7ED558CCDu;
}

/// Gives every node a colour that depends on the colours of its neighbours, until no more nodes can be distinguished.
void refine(const Graph& graph, Colours& colours) {
    for (size_t numberOfColours = 0;;) {
        std::set<size_t> distinct;
        for (const auto& [node, colour] : colours)
            distinct.insert(colour);
        if (distinct.size() == numberOfColours)
            return;
        numberOfColours = distinct.size();
        std::map<std::string, std::multiset<size_t>> views;
        for (const Line& line : graph)
            for (const std::string& self : line)
                if (isBlankNode(self)) {
                    size_t view = 0;
                    for (const std::string& piece : line)
                        view = combine(view, !isBlankNode(piece) ? std::hash<std::string>()(piece)
                                             : piece == self     ? 1
                                                                 : combine(2, colours[piece]));
                    views[self].insert(view);
                }
        for (auto& [node, colour] : colours)
            for (const size_t view : views[node])
                colour = combine(colour, view);
    }
}

std::map<size_t, std::vector<std::string>> groupByColour(const Colours& colours) {
    std::map<size_t, std::vector<std::string>> groups;
    for (const auto& [node, colour] : colours)
        groups[colour].push_back(node);
    return groups;
}

Graph rename(const Graph& graph, const Colours& colours) {
    std::set<Line> lines;
    for (Line line : graph) {
        for (std::string& piece : line)
            if (isBlankNode(piece))
                piece = "_:" + std::to_string(colours.at(piece));
        lines.insert(line);
    }
    return {lines.begin(), lines.end()};
}

bool areIsomorphic(const Graph& left, Colours leftColours, const Graph& right, Colours rightColours) {
    refine(left, leftColours);
    refine(right, rightColours);
    const auto leftGroups = groupByColour(leftColours);
    const auto rightGroups = groupByColour(rightColours);
    for (const auto& [colour, nodes] : leftGroups) {
        const auto found = rightGroups.find(colour);
        if (found == rightGroups.end() || found->second.size() != nodes.size())
            return false;
    }
    for (const auto& [colour, nodes] : leftGroups)
        if (nodes.size() > 1) {
            leftColours[nodes.front()] = 1;
            for (const std::string& node : rightGroups.at(colour)) {
                Colours guess = rightColours;
                guess[node] = 1;
                if (areIsomorphic(left, leftColours, right, guess))
                    return true;
            }
            return false;
        }
    return leftGroups.size() == rightGroups.size() && rename(left, leftColours) == rename(right, rightColours);
}

Colours colourAlike(const Graph& graph) {
    Colours colours;
    for (const Line& line : graph)
        for (const std::string& piece : line)
            if (isBlankNode(piece))
                colours[piece] = 0;
    return colours;
}

} // namespace

bool areIsomorphic(const std::string_view left, const std::string_view right) {
    const Graph leftGraph = makeGraph(left);
    const Graph rightGraph = makeGraph(right);
    return areIsomorphic(leftGraph, colourAlike(leftGraph), rightGraph, colourAlike(rightGraph));
}
