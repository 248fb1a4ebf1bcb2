#pragma once
// The body of the login request, written by hand into one buffer of its final size: the JSON
// library would spread the password over nodes and growing strings that are freed unwiped.
#include <string>
#include <string_view>

namespace VantorStorage::WS::detail {

// {"data":{"username":U,"password":P,"app_name":A}}. Throws std::invalid_argument, quoting
// nothing, when a text is not valid UTF-8. The caller wipes the result (wipeText) when done.
std::string loginBody(std::string_view user, std::string_view password, std::string_view appName);

// Overwrites the text's bytes in a way the optimiser keeps, then empties it.
void wipeText(std::string& text);

// Wipes a text when the scope ends, however it ends.
class WipeOnExit {
 public:
  explicit WipeOnExit(std::string& text) : mText(text) {}
  ~WipeOnExit() { wipeText(mText); }
  WipeOnExit(const WipeOnExit&) = delete;
  WipeOnExit& operator=(const WipeOnExit&) = delete;

 private:
  std::string& mText;
};

}  // namespace VantorStorage::WS::detail
