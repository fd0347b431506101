#include "Engine/c/Errors.h"

#include "Engine/core/data-store/dictionary/ColumnException.h"
#include "Engine/core/platform/FailureKind.h"
#include "Engine/core/platform/MelnarException.h"

#include <exception>
#include <new>

namespace {

// The codes equal the kinds, except for the code of success.
static_assert(int(FailureKind::REFUSED_LITERAL) == MELNAR_REFUSED &&
              int(FailureKind::NO_SUCH_RESOURCE) == MELNAR_NO_SUCH_RESOURCE && int(FailureKind::FULL) == MELNAR_FULL &&
              int(FailureKind::MEMORY) == MELNAR_MEMORY && int(FailureKind::SYSTEM) == MELNAR_SYSTEM &&
              int(FailureKind::DAMAGED_FILE) == MELNAR_DAMAGED_FILE && int(FailureKind::IN_USE) == MELNAR_IN_USE &&
              int(FailureKind::MISUSE) == MELNAR_MISUSE);

melnar_code toCode(const FailureKind kind) noexcept {
    return kind == FailureKind::OTHER ? MELNAR_OTHER : static_cast<melnar_code>(kind);
}

} // namespace

melnar_error makeError(const melnar_code code, const size_t index, const std::string_view message) noexcept {
    melnar_error error;
    error.code = code;
    error.index = index;
    size_t size = message.size();
    if (size >= sizeof(error.message)) {
        size = sizeof(error.message) - 1;
        while (size > 0 && (static_cast<unsigned char>(message[size]) & 0xC0) == 0x80)
            --size; // not within a UTF-8 character
    }
    error.message[message.copy(error.message, size)] = '\0';
    return error;
}

melnar_error makeNoError() noexcept {
    return makeError(MELNAR_OK, MELNAR_NO_INDEX, {});
}

melnar_error describeException() noexcept {
    try {
        throw;
    } catch (const ColumnException& exception) {
        try {
            if (!exception.getCauses().empty())
                std::rethrow_exception(exception.getCauses().front());
        } catch (...) {
            melnar_error error = describeException();
            error.index = exception.getEntryIndex();
            return error;
        }
        return makeError(toCode(exception.getKind()), exception.getEntryIndex(), exception.getMessage());
    } catch (const MelnarException& exception) {
        return makeError(toCode(exception.getKind()), MELNAR_NO_INDEX, exception.getMessage());
    } catch (const std::bad_alloc&) {
        return makeError(MELNAR_MEMORY, MELNAR_NO_INDEX, "The process has no more memory.");
    } catch (const std::exception& exception) {
        return makeError(MELNAR_OTHER, MELNAR_NO_INDEX, exception.what());
    } catch (...) {
        return makeError(MELNAR_OTHER, MELNAR_NO_INDEX, "An unknown exception was thrown.");
    }
}
