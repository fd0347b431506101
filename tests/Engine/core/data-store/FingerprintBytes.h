#pragma once

#include "Engine/core/data-store/Dictionary.h"

#include <cstddef>
#include <memory>
#include <optional>

/// Returns the bytes of a dictionary's fingerprints, according to its statistics.
inline size_t getFingerprintBytes(const Dictionary& dictionary) {
    const std::unique_ptr<ComponentInfo> root = dictionary.getComponentInfo();
    size_t bytes = 0;
    for (const std::unique_ptr<ComponentInfo>& child : root->getChildren())
        if (child->getName() == "Fingerprints")
            bytes += child->getSumOverNumericMetric(ComponentInfo::Metric::MEMORY_CONSUMED, std::nullopt);
    return bytes;
}
