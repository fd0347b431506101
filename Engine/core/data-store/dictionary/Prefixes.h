#pragma once

#include "Engine/core/platform/Export.h"

#include <map>
#include <string>

/// The prefixes with which a Turtle writer may abbreviate IRIs.
///
/// Threads  Reading: any threads concurrently, while no thread declares.
class MELNAR_EXPORT Prefixes {
public:
    /// Declares `prefix` (without the colon) for `iri`, and replaces an earlier declaration.
    void declare(const std::string& prefix, const std::string& iri) { m_iris[prefix] = iri; }

    /// Returns the IRI of `prefix`, or nullptr if it is not declared. Valid until the next declaration of this prefix.
    const std::string* getIRI(const std::string& prefix) const {
        const auto found = m_iris.find(prefix);
        return found == m_iris.end() ? nullptr : &found->second;
    }

private:
    std::map<std::string, std::string> m_iris;
};
