#pragma once
// CLogger: a scope object at the top of a function, named by its qualified name. It writes an
// entry line when made and an exit line when destroyed, on every return path and when an
// exception passes.
#include <chrono>

class CLogger {
 public:
  explicit CLogger(const wchar_t* scopeName);
  ~CLogger();
  CLogger(const CLogger&) = delete;
  CLogger& operator=(const CLogger&) = delete;

 private:
  const wchar_t* scope_;
  int uncaught_;
  std::chrono::steady_clock::time_point start_;
};
