// Bodies of the BIF, XMLBIF and UAI readers, run by the shared parse driver
// (foreign_build.h) on a new domain.
#pragma once

#include "formats/lexer.h"

namespace orv {

void parse_bif_body(ParseData &p, orv_domain_s *d);
void parse_uai_body(ParseData &p, orv_domain_s *d);
void parse_xmlbif_body(ParseData &p, orv_domain_s *d);

}  // namespace orv
