#pragma once
// A refusal of the array: the HTTP status and the message the REST side answers with.

#include <stdexcept>
#include <string>

namespace arraysim {

class ArrayError : public std::runtime_error {
public:
    ArrayError(int status, std::string code, const std::string& text)
        : std::runtime_error(text), mStatus(status), mCode(std::move(code)) {}

    int status() const { return mStatus; }
    const std::string& code() const { return mCode; }

private:
    int mStatus;
    std::string mCode;
};

inline ArrayError invalidArgument(const std::string& text) {
    return ArrayError(400, "SM_invalid_arg", text);
}
inline ArrayError notFound(const std::string& text) { return ArrayError(404, "SM_enoent", text); }
inline ArrayError busy(const std::string& text) { return ArrayError(409, "SM_ebusy", text); }
inline ArrayError already(const std::string& text) { return ArrayError(409, "SM_ealready", text); }
inline ArrayError unauthorized(const std::string& text) {
    return ArrayError(401, "SM_http_unauthorized", text);
}

}  // namespace arraysim
