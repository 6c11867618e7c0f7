#pragma once

#include <exception>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "harvelstone/api/harvelstone.h"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Value.hpp"

/// What the functions of the C face have in common: how a failure leaves them, and how what they are given is read.
namespace harvelstone {

/// Keeps the reason for harvelstone_last_error, cut where it is longer than a few lines. Gives back the status.
harvelstone_status failed(harvelstone_status status, std::string_view reason) noexcept;

/// Runs the operation; whatever it raises becomes a status.
template <typename Operation>
harvelstone_status statusOf(Operation operation) noexcept {
    try {
        operation();
        return HARVELSTONE_OK;
    } catch (const platform::InvalidArgumentException& exception) {
        return failed(HARVELSTONE_INVALID_ARGUMENT, exception.reason());
    } catch (const std::bad_alloc&) {
        return failed(HARVELSTONE_OUT_OF_MEMORY, "out of memory");
    } catch (const std::exception& exception) {
        return failed(HARVELSTONE_FAILED, exception.what());
    } catch (...) {
        return failed(HARVELSTONE_FAILED, "an exception of an unknown kind");
    }
}

/// The reader of an argument names it in the reason for which it refuses it: NULL where something must stand, and text
/// that is not what it should be.
std::string requiredText(const char* text, std::string_view what);
std::optional<std::string> optionalText(const char* text);
Value requiredValue(const char* json, std::string_view what);
Dictionary requiredRecord(const char* json, std::string_view what);
/// NULL is an empty one.
Dictionary optionalRecord(const char* json, std::string_view what);

/// A copy for the host, to be given back by harvelstone_free_text.
char* textForHost(const std::string& text);

}  // namespace harvelstone
