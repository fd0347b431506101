#pragma once

#include "Engine/core/platform/ComponentProperty.h"

namespace melnar {

/// An integer: a count, or bytes.
class NumericComponentProperty final : public ComponentProperty {
public:
    /// The text form is padded on the left to `minimumWidth` characters, so that figures of several nodes line up; 0
    /// means no padding.
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
