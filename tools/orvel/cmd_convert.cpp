// orvel convert: read a network in any readable format and write it as NET
// (canonical layout, optionally with exact numbers), as BIF or as a KB file.
#include <cstdio>

#include "cli.h"

namespace cli {

namespace {

// Classes stay classes between NET class files and KB files.
orv_status_t save_classes(const Network &net, Format out_format, const std::string &out, bool exact) {
  if (out_format == Format::kb) return orv_cc_save_as_kb(net.classes(), out.c_str(), kb_password());
  if (exact) usage_error("--exact applies to a domain; classes are written as NET with six digits");
  return orv_cc_save_as_net(net.classes(), out.c_str());
}

}  // namespace

int run_convert(Args &args) {
  std::vector<std::string> paths;
  bool exact = false;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs("usage: orvel convert IN OUT [--exact] [--password PW]\n"
                 "Reads IN (NET or KB, or BIF, XMLBIF, UAI by the extension .bif, .xml, .uai) and writes\n"
                 "the same network to OUT: BIF when OUT ends in .bif, a KB file when it ends in .kb,\n"
                 "else NET in canonical layout. A NET class file written as KB keeps its classes, and\n"
                 "a KB file of classes is written as a NET class file.\n"
                 "  --exact        NET numbers with 17 significant digits, so that reading OUT gives\n"
                 "                 bit-identical tables (the default keeps six; KB files are always exact)\n"
                 "  --password PW  the password of a KB input and of a KB output (default:\n"
                 "                 $ORVEL_KB_PASSWORD; none: the KB output is not sealed)\n",
                 stdout);
      return kExitOk;
    }
    if (args.option("--exact")) {
      exact = true;
      continue;
    }
    if (args.option("--password")) {
      set_kb_password(args.value("--password"));
      continue;
    }
    paths.push_back(*args.positional());
  }
  if (paths.size() != 2) usage_error("expected an input and an output file (try --help)");
  const Format out_format = format_of(paths[1]);
  if (out_format == Format::xmlbif || out_format == Format::uai)
    usage_error("cannot write '" + paths[1] + "': the output is written as NET, KB (.kb) or BIF (.bif)");
  if (exact && out_format != Format::net)
    usage_error("--exact applies to NET output (BIF and KB numbers are always written exactly)");
  Network net(paths[0]);
  const char *out = paths[1].c_str();
  const bool classes = net.classes() && out_format != Format::bif &&
                       (out_format == Format::kb || is_kb_file(paths[0]));
  const orv_status_t status = classes                       ? save_classes(net, out_format, paths[1], exact)
                              : out_format == Format::bif   ? orv_domain_save_as_bif(net.get(), out)
                              : out_format == Format::kb    ? orv_domain_save_as_kb(net.get(), out, kb_password())
                              : exact                       ? orv_domain_save_as_net_exact(net.get(), out)
                                                            : orv_domain_save_as_net(net.get(), out);
  if (status == orv_error_usage && out_format == Format::bif)
    failure("cannot write '" + paths[1] + "': BIF holds only discrete chance nodes");
  if (status != orv_error_none) check_engine("cannot write '" + paths[1] + "'");
  return kExitOk;
}

}  // namespace cli
