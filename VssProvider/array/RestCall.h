#pragma once
// Base of every request the provider sends to an array group. One object per request, made on
// the stack with the group's connection and inputs, run with Execute, then read through the
// derived class's accessors. The base owns the request's life: a new session when the stored
// credentials changed, at most one re-authentication when the session expired, the
// classification of server errors (ignorable, retryable, fatal), the result check and the
// processing of the result. Derived classes supply the request, the check and the texts.
#include <cstdint>
#include <string>

#include "restsdk/Exceptions.h"

namespace Vantor {

class RestConnection;

// What one attempt (ExecuteRestCall) came to.
enum class RestCallResult : std::int32_t {
  Succeeded = 1,
  RefreshSession = 2,  // the session is missing or expired
  Retry = 3,
  Ignored = 4,  // go on as if the call had succeeded
};

inline constexpr const char* kInvalidSessionErrorCode = "SM_http_unauthorized";
inline constexpr const char* kAlreadyInStateErrorCode = "SM_ealready";

class RestCall {
 public:
  explicit RestCall(RestConnection& restConn) : mRestConn(restConn) {}
  virtual ~RestCall() = default;
  RestCall(const RestCall&) = delete;
  RestCall& operator=(const RestCall&) = delete;

  // Returns when the call succeeded or its failure was ignored. Throws a copy of the
  // library's GroupMgmtServerException for a server error that is neither ignorable nor
  // retryable, std::exception with the library's text for any other library failure, with
  // GetFailureMessage() when the result check fails, and whatever authentication throws.
  void Execute();

  // True when any message of `e` carries exactly `code`. An exception without messages
  // carries no code, so a bare 401 from a proxy is never taken for an expired session.
  static bool HasErrorCode(const VantorStorage::WS::GroupMgmtServerException& e, const std::string& code);

 protected:
  virtual void Initialize() {}
  // The one library call.
  virtual void Call() = 0;
  virtual bool IsResultValid() const { return true; }
  virtual std::string GetInputDescription() const { return {}; }
  virtual std::string GetName() const = 0;
  virtual std::string GetFailureMessage() const { return {}; }
  virtual void ProcessResult() {}
  virtual bool IsExceptionIgnorable(const VantorStorage::WS::GroupMgmtServerException& /*e*/) const { return false; }
  virtual bool IgnoreAllExceptions() const { return false; }
  virtual bool IsRetryNeeded(const VantorStorage::WS::GroupMgmtServerException& /*e*/) const { return false; }
  virtual int GetMaxRetryCount() const { return 1; }
  virtual RestCallResult HandleException(const VantorStorage::WS::GroupMgmtServerException& e);
  virtual void LogExceptionInfo(const VantorStorage::WS::GroupMgmtServerException& e) const;

  // One attempt.
  RestCallResult ExecuteRestCall(bool reauthenticated);
  // Opens a new session with the stored login information.
  void Authenticate(const std::string& failureMessage);

  RestConnection& mRestConn;
};

}  // namespace Vantor
