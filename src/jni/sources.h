// Source lists of a domain unfolded from a class, as Java sees them.
#pragma once

#include "jni/jni_support.h"

namespace orv::jni {

// Gives every node of the new unfolded domain its source list as an Object[]
// of the Java peers of the class nodes it was made from (null where a class
// node has no peer), held by a global reference in the node. Returns the
// status: jni when the array can not be made, no_memory when its reference
// can not. On failure the lists made so far stay with their nodes.
orv_status_t attach_source_lists(JNIEnv *env, orv_domain_s *domain);

}  // namespace orv::jni
