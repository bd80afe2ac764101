// Internal entry points of the NET reader shared with other readers.
#pragma once

namespace orv {

// 1 when text begins like NET text ("net {" or "class NAME {"), 0 when not,
// -1 on an allocation or locale failure.
int _orv_string_is_net_description(const char *text);
// The decoded contents of text holding exactly one string literal, in funnel
// memory; null with syntax otherwise.
char *_orv_remove_escapes(const char *text);

}  // namespace orv
