#pragma once

#include "Engine/core/platform/ComponentProperty.h"

namespace melnar {

/// A whole number: a count, or bytes.
class NumericComponentProperty final : public ComponentProperty {
public:
    /// `minimumWidth` is the width in characters to which the text form is padded on the left, so that figures of
    /// several nodes can be lined up; 0 for no padding.
    NumericComponentProperty(const Metric metric, std::optional<std::string>&& name, const unsigned long value,
                             const unsigned short minimumWidth)
        : ComponentProperty(metric, std::move(name)), m_value(value), m_minimumWidth(minimumWidth) {}

    std::string getValueText() const override { return std::to_string(m_value); }
    unsigned long getValue() const noexcept { return m_value; }
    unsigned short getMinimumWidth() const noexcept { return m_minimumWidth; }

private:
    const unsigned long m_value;
    const unsigned short m_minimumWidth;
};

} // namespace melnar
