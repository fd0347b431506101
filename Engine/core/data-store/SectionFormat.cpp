#include "Engine/core/data-store/SectionFormat.h"

#include "Engine/core/platform/stream/InputStream.h"

#include <string>

namespace melnar {

bool SectionFormat::isBeginningOf(InputStream& input) const {
    std::string beginning(m_magic.size(), '\0');
    size_t length = 0;
    while (length < beginning.size()) {
        const size_t delivered = input.read(beginning.data() + length, beginning.size() - length);
        if (delivered == 0)
            return false;
        length += delivered;
    }
    return beginning == m_magic;
}

} // namespace melnar
