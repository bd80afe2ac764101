// Recursive-descent parser of the expression language over the expression
// token set; used by the string-to-expression API and by NET model data.
#pragma once

#include "expr/expression.h"
#include "formats/lexer.h"

namespace orv {

// Deepest expression tree the parser builds.
constexpr std::size_t kMaxExpressionHeight = 500;

// Parses one expression; the token that follows it is pushed back. Reports
// and throws ParseAbort on failure, having freed every partial tree.
OwnedExpression parse_expression(ParseData &p);

// Parses a whole text as one expression in domain d (syntax errors: syntax).
// Returns null on failure with the error code set.
orv_expression_s *parse_expression_text(orv_domain_s *d, const char *text,
                                        orv_error_handler_t handler, void *data);

}  // namespace orv
