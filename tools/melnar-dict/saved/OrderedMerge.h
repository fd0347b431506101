#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

/// Merges lists of items that have a common order; each list may lack some. The items of a list keep their order, and a
/// new item is inserted after the one before it.
///
/// Ownership  Refers to the items that others are merged into.
template<class Item>
class OrderedMerge {
public:
    explicit OrderedMerge(std::vector<Item>& items) : m_items(items) {}

    /// Returns the item for which `isSame` returns true, or else a new one, which `make` makes. It does not move until
    /// the next call.
    template<class IsSame, class Make>
    Item& findOrMake(const IsSame& isSame, const Make& make) {
        auto found = std::ranges::find_if(m_items, isSame);
        if (found == m_items.end())
            found = m_items.insert(std::next(m_items.begin(), m_place), make());
        m_place = std::distance(m_items.begin(), found) + 1;
        return *found;
    }

private:
    std::vector<Item>& m_items;
    std::ptrdiff_t m_place = 0; // after the last item that was requested
};
