// vantor-vss: requestor and diagnostics tool for the provider.
#include <CLI/CLI.hpp>
#include <iostream>

int main(int argc, char** argv) {
  CLI::App app{"vantor-vss: drives the Vantor VSS hardware provider the way VSS does"};
  app.set_version_flag("--version", std::string("vantor-vss ") + VANTOR_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : 2;
  }
  std::cout << app.help();
  return 0;
}
