// orvel convert: read a network and write it back in canonical layout.
#include <cstdio>

#include "cli.h"

namespace cli {

int run_convert(Args &args) {
  std::vector<std::string> paths;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs("usage: orvel convert IN.net OUT.net\n"
                 "Reads IN.net and writes the same network to OUT.net in canonical layout.\n",
                 stdout);
      return kExitOk;
    }
    paths.push_back(*args.positional());
  }
  if (paths.size() != 2) usage_error("expected an input and an output file (try --help)");
  Network net(paths[0]);
  if (orv_domain_save_as_net(net.get(), paths[1].c_str()) != orv_error_none)
    check_engine("cannot write '" + paths[1] + "'");
  return kExitOk;
}

}  // namespace cli
