// vnagent: command-line front end of the virtual network agent library.

#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "reactive/Version.h"

int main(int argc, char** argv) {
  CLI::App app{"vnagent: runs virtual network agent scenarios", "vnagent"};
  app.set_version_flag("--version", std::string(Vek::versionString()));

  auto* selfcheck =
      app.add_subcommand("selfcheck", "Check that the library links and report its version");
  selfcheck->callback([] { std::cout << "vnagent library " << Vek::versionString() << " OK\n"; });

  CLI11_PARSE(app, argc, argv);

  if (app.get_subcommands().empty()) {
    std::cout << app.help();
  }
  return 0;
}
