// Constructors: natives that create a domain or a node for a Java peer and
// attach the peer before returning (set the backpointer or delete again).
#include "jni/jni_support.h"
#include "jni/parse_callbacks.h"
#include "jni/sources.h"
#include "model/domain.h"
#include "model/node.h"

namespace {

using orv::jni::from_handle;
using orv::jni::to_handle;

// Attaches the peer to a new domain; on failure deletes the domain again and
// keeps the attach's error code.
jlong keep_or_delete(JNIEnv *env, orv_domain_t domain, jobject peer) {
  if (!domain) return 0;
  const orv_status_t status = orv::jni::attach(env, domain, peer);
  if (status == orv_error_none) return to_handle(domain);
  orv_domain_delete(domain);
  orv::set_error(static_cast<orv_error_t>(status));
  return 0;
}

}  // namespace

extern "C" {

// The license handle is accepted for compatibility; the engine obtains its
// own when it is 0, and no license caps a domain.
JNIEXPORT jlong ORV_JNI(NewDomain)(JNIEnv *env, jobject, jobject peer, jlong license) {
  (void)license;
  if (!peer) return orv::usage<jlong>(0);
  return keep_or_delete(env, orv_new_domain(), peer);
}

JNIEXPORT jlong ORV_JNI(DomainClone)(JNIEnv *env, jobject, jobject peer, jlong domain) {
  if (!peer) return orv::usage<jlong>(0);
  return keep_or_delete(env, orv_domain_clone(from_handle<orv_domain_t>(domain)), peer);
}

// The unfolded domain gets its peer, then every node its Java source list.
// When a list can not be made the domain is deleted again (its peers and the
// lists made so far released), keeping the error code and any pending Java
// exception (an OutOfMemoryError) for the caller.
JNIEXPORT jlong ORV_JNI(ClassCreateDomain)(JNIEnv *env, jobject, jobject peer, jlong class_) {
  if (!peer) return orv::usage<jlong>(0);
  const jlong handle = keep_or_delete(env, orv_class_create_domain(from_handle<orv_class_t>(class_)), peer);
  if (!handle) return 0;
  auto *domain = from_handle<orv_domain_s *>(handle);
  const orv_status_t status = orv::jni::attach_source_lists(env, domain);
  if (status == orv_error_none) return handle;
  jthrowable pending = env->ExceptionOccurred();
  if (pending) env->ExceptionClear();  // releasing the peers calls into the JVM
  orv_domain_delete(domain);
  if (pending) {
    env->Throw(pending);
    env->DeleteLocalRef(pending);
  }
  orv::set_error(static_cast<orv_error_t>(status));
  return 0;
}

JNIEXPORT jlong ORV_JNI(NetParseDomain)(JNIEnv *env, jobject, jobject peer, jstring source, jobject receiver) {
  if (!peer) return orv::usage<jlong>(0);
  orv::jni::Utf8 text(env, source);
  if (!text) return 0;
  orv::jni::ParseContext context(env, receiver);
  orv_domain_t domain = orv_net_parse_domain(text.get(), context.handler(), &context);
  if (context.failed()) {
    if (domain) orv_domain_delete(domain);
    orv::set_error(orv_error_jni);
    return 0;
  }
  return keep_or_delete(env, domain, peer);
}

// `password` may be null (an unprotected file).
JNIEXPORT jlong ORV_JNI(KBLoadDomain)(JNIEnv *env, jobject, jobject peer, jstring file_name, jstring password) {
  if (!peer) return orv::usage<jlong>(0);
  orv::jni::FileName name(env, file_name);
  if (!name) return 0;
  orv::jni::OptionalUtf8 secret(env, password);
  if (!secret) return 0;
  return keep_or_delete(env, orv_kb_load_domain(name.get(), secret.get()), peer);
}

// The node's global reference is made first, so that the node never exists
// without its peer; a failed creation drops the reference again.
JNIEXPORT jlong ORV_JNI(DomainNewNode)(JNIEnv *env, jobject, jobject peer, jlong domain, jint category,
                                       jint kind) {
  jobject global = orv::jni::prepare_peer(env, orv::Tag::node, peer);
  if (!global) return 0;
  orv_node_t node = orv_domain_new_node(from_handle<orv_domain_t>(domain), static_cast<orv_category_t>(category),
                                        static_cast<orv_kind_t>(kind));
  if (!node) {
    orv::jni::delete_global(env, global);
    return 0;
  }
  orv::jni::adopt(env, node, global);
  return to_handle(node);
}

}  // extern "C"
