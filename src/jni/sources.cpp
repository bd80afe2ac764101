// Source lists as Java sees them: each node of an unfolded domain holds its
// list as an Object[] of class-node peers by a global reference, released
// when the node is freed or the domain's source lists are deleted.
#include "jni/sources.h"

#include "model/domain.h"
#include "model/node.h"

namespace orv::jni {
namespace {

void release_source(orv_node_s *node) noexcept {
  auto array = static_cast<jobject>(node->java_source);
  node->java_source = nullptr;
  // Engine calls made from Java run on a JVM thread; elsewhere nothing can be released.
  if (JNIEnv *env = current_env()) delete_global(env, array);
}

jobjectArray source_array(JNIEnv *env, jclass object, const orv_node_s *node) {
  jobjectArray array = env->NewObjectArray(static_cast<jsize>(node->source.size()), object, nullptr);
  if (!array) return nullptr;
  for (std::size_t i = 0; i < node->source.size(); ++i) {
    jobject peer = peer_of(env, node->source[i]);
    env->SetObjectArrayElement(array, static_cast<jsize>(i), peer);
    if (peer) env->DeleteLocalRef(peer);
  }
  return array;
}

}  // namespace

orv_status_t attach_source_lists(JNIEnv *env, orv_domain_s *domain) {
  source_release = &release_source;
  jclass object = env->FindClass("java/lang/Object");
  if (!object) return set_error(orv_error_jni), orv_error_jni;
  orv_error_t status = orv_error_none;
  for (orv_node_s *n = domain->first_node; n && !status; n = n->next) {
    jobjectArray array = source_array(env, object, n);
    if (!array) {
      status = orv_error_jni;
      break;
    }
    n->java_source = new_global(env, array);
    env->DeleteLocalRef(array);
    if (!n->java_source) status = orv_error_no_memory;
  }
  env->DeleteLocalRef(object);
  set_error(status);
  return status;
}

}  // namespace orv::jni

extern "C" {

// The node's Java source list, or null with usage when it has none (a node
// not made by unfolding, or one whose domain's lists were deleted).
JNIEXPORT jobjectArray ORV_JNI(NodeGetSource)(JNIEnv *env, jobject, jlong handle) {
  auto *node = orv::jni::from_handle<orv_node_s *>(handle);
  if (!orv::is_node(node) || !node->java_source) return orv::usage<jobjectArray>(nullptr);
  orv::set_error(orv_error_none);
  return static_cast<jobjectArray>(env->NewLocalRef(static_cast<jobject>(node->java_source)));
}

}  // extern "C"
