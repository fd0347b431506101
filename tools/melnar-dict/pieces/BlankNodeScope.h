#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Makes the label of a blank node, which is local to its document, unique in a dictionary or an output of several
/// documents: labels of document 1 stay as they are, those of document N get the prefix "docN-". A label of document 1
/// that looks like one of another document gets an underscore after its "doc".
///
/// Documents count from 1. If documents share their labels, all are document 1. Labels that are unique already belong
/// to NO_DOCUMENT, and stay as they are.
namespace BlankNodeScope {

constexpr uint64_t NO_DOCUMENT = 0;

/// The largest document number, so that later files have numbers, too.
constexpr uint64_t LARGEST_DOCUMENT = UINT64_MAX / 2;

/// The scope of labels: each document, or all of them together.
enum class Mode : uint8_t { DOCUMENTS, SHARED };

/// Appends the unique form of a label, both without "_:".
void appendLabel(uint64_t document, std::string_view label, std::string& output);

/// Returns the document that a unique label contains.
uint64_t getDocument(std::string_view uniqueLabel) noexcept;

} // namespace BlankNodeScope
