#pragma once
// Everything the library throws. Callers that only care about "the array said no" catch
// GroupMgmtServerException; every other failure (network, TLS, timeouts, answers that are not
// what the wire contract promises, misuse) is an ApiException, so one catch of
// std::exception sees all of them with a readable what().
#include <stdexcept>
#include <string>
#include <vector>

namespace VantorStorage::WS {

class ApiException : public std::runtime_error {
 public:
  explicit ApiException(const std::string& what) : std::runtime_error(what) {}
};

// One entry of an error answer's "messages" list. All three are the server's text as sent.
class ServerMessage {
 public:
  ServerMessage() = default;
  ServerMessage(std::string code, std::string text, std::string severity)
      : mCode(std::move(code)), mText(std::move(text)), mSeverity(std::move(severity)) {}
  const std::string& getCode() const { return mCode; }
  const std::string& getText() const { return mText; }
  const std::string& getSeverity() const { return mSeverity; }

 private:
  std::string mCode;
  std::string mText;
  std::string mSeverity;
};

// The array answered with a status other than 2xx. The message list is empty when the answer
// carried no usable {"messages":[...]} object (a broken server, a proxy's HTML page).
class GroupMgmtServerException : public ApiException {
 public:
  GroupMgmtServerException(const std::string& what, int httpStatus, std::vector<ServerMessage> messages)
      : ApiException(what), mHttpStatus(httpStatus), mMessages(std::move(messages)) {}
  int getHttpStatus() const { return mHttpStatus; }
  const std::vector<ServerMessage>& getMessages() const { return mMessages; }

 private:
  int mHttpStatus;
  std::vector<ServerMessage> mMessages;
};

// An accessor was called for an attribute that the object does not carry (it was not asked
// for, or the array left it out). getAttributeName() is the accessor's name without "get",
// e.g. "VpdT10".
class AttributeNotSetException : public ApiException {
 public:
  explicit AttributeNotSetException(const std::string& attributeName)
      : ApiException("Attribute '" + attributeName + "' is not set"), mAttributeName(attributeName) {}
  const std::string& getAttributeName() const { return mAttributeName; }

 private:
  std::string mAttributeName;
};

// A setter was called on an object that came from the array; those are read-only snapshots of
// the array's state. Build a new object to send changes.
class ImmutableObjectException : public ApiException {
 public:
  explicit ImmutableObjectException(const std::string& attributeName)
      : ApiException("Attribute '" + attributeName + "' cannot be set: the object is immutable"),
        mAttributeName(attributeName) {}
  const std::string& getAttributeName() const { return mAttributeName; }

 private:
  std::string mAttributeName;
};

}  // namespace VantorStorage::WS
