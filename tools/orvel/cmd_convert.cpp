// orvel convert: read a network in any readable format and write it as NET
// (canonical layout, optionally with exact numbers) or as BIF.
#include <cstdio>

#include "cli.h"

namespace cli {

int run_convert(Args &args) {
  std::vector<std::string> paths;
  bool exact = false;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs("usage: orvel convert IN OUT [--exact]\n"
                 "Reads IN (NET, or BIF, XMLBIF, UAI by the extension .bif, .xml, .uai) and writes the\n"
                 "same network to OUT: BIF when OUT ends in .bif, else NET in canonical layout.\n"
                 "  --exact   NET numbers with 17 significant digits, so that reading OUT gives\n"
                 "            bit-identical tables (the default keeps six)\n",
                 stdout);
      return kExitOk;
    }
    if (args.option("--exact")) {
      exact = true;
      continue;
    }
    paths.push_back(*args.positional());
  }
  if (paths.size() != 2) usage_error("expected an input and an output file (try --help)");
  const Format out_format = format_of(paths[1]);
  if (out_format == Format::xmlbif || out_format == Format::uai)
    usage_error("cannot write '" + paths[1] + "': the output is written as NET or BIF (.bif)");
  if (exact && out_format == Format::bif)
    usage_error("--exact applies to NET output (BIF numbers are always written exactly)");
  Network net(paths[0]);
  const char *out = paths[1].c_str();
  const orv_status_t status = out_format == Format::bif ? orv_domain_save_as_bif(net.get(), out)
                              : exact                   ? orv_domain_save_as_net_exact(net.get(), out)
                                                        : orv_domain_save_as_net(net.get(), out);
  if (status == orv_error_usage && out_format == Format::bif)
    failure("cannot write '" + paths[1] + "': BIF holds only discrete chance nodes");
  if (status != orv_error_none) check_engine("cannot write '" + paths[1] + "'");
  return kExitOk;
}

}  // namespace cli
