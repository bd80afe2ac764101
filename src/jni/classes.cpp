// Class-collection natives with rules of their own: the constructor, which
// holds a global reference to its Java object, and class parsing, whose
// class loader calls insertClass(String, ClassCollection) on the receiver.
#include "jni/jni_support.h"
#include "jni/parse_callbacks.h"
#include "oobn/class.h"

namespace {

using orv::jni::from_handle;
using orv::jni::ParseContext;
using orv::jni::to_handle;

// The parse-error receiver plus what the class loader needs.
struct ClassParseContext : ParseContext {
  ClassParseContext(JNIEnv *env, jobject receiver, jobject cc) : ParseContext(env, receiver), collection(cc) {}
  jobject collection;
  jmethodID insert_class = nullptr;
};

// Asks the receiver to parse the named class into the collection (by a
// nested orvNetParseClasses). A throw stays pending; the parse then fails
// to find the class and the native reports jni.
void load_class(const char *name, orv_class_collection_t, void *data) {
  auto *context = static_cast<ClassParseContext *>(static_cast<ParseContext *>(data));
  JNIEnv *env = context->env();
  jobject receiver = context->receiver();
  if (!receiver || env->ExceptionCheck() || env->EnsureLocalCapacity(2) != 0) return;
  if (!context->insert_class) {
    jclass cls = env->GetObjectClass(receiver);
    context->insert_class =
        env->GetMethodID(cls, "insertClass", "(Ljava/lang/String;LCOM/orvel/OAPI/ClassCollection;)V");
    env->DeleteLocalRef(cls);
    if (!context->insert_class) return;  // NoSuchMethodError stays pending
  }
  jstring text = env->NewStringUTF(name);
  if (!text) return;
  env->CallVoidMethod(receiver, context->insert_class, text, context->collection);
  env->DeleteLocalRef(text);
}

std::size_t member_count(orv_class_collection_t cc) {
  std::size_t n = 0;
  if (orv_class_t *members = orv_cc_get_members(cc))
    while (members[n]) ++n;
  return n;
}

// After a successful parse interrupted by a Java exception: deletes the new
// members (those past `before`) that no instance uses, first one first.
// Returns false when only members with instances are left.
bool undo_new_members(orv_class_collection_t cc, std::size_t before) {
  while (member_count(cc) > before) {
    orv_class_t *members = orv_cc_get_members(cc);
    orv_class_t unused = nullptr;
    for (std::size_t i = before; members[i] && !unused; ++i) {
      orv_node_t *instances = orv_class_get_instances(members[i]);
      if (!instances || !*instances) unused = members[i];
    }
    if (!unused || orv_class_delete(unused) != orv_error_none) return false;
  }
  return true;
}

}  // namespace

extern "C" {

// The collection keeps a global reference to its Java object. When that
// reference cannot be made the collection is deleted and the handle returned
// is 3 (the no_memory code) rather than 0: callers check the error code.
JNIEXPORT jlong ORV_JNI(NewClassCollection)(JNIEnv *env, jobject, jobject peer, jlong license) {
  (void)license;
  if (!peer) return orv::usage<jlong>(0);
  orv_class_collection_t cc = orv_new_class_collection();
  if (!cc) return 0;
  if (!orv::jni::hold_reference(env, cc, peer)) {
    const orv_error_t cause = orv::error_code();  // no_memory, or jni without a JVM
    orv_cc_delete(cc);
    orv::set_error(cause);
    return cause == orv_error_no_memory ? orv_error_no_memory : 0;
  }
  return to_handle(cc);
}

// As NewClassCollection, for a collection loaded from a KB file (`password` may be null).
JNIEXPORT jlong ORV_JNI(KBLoadClassCollection)(JNIEnv *env, jobject, jobject peer, jstring file_name,
                                               jstring password) {
  if (!peer) return orv::usage<jlong>(0);
  orv::jni::FileName name(env, file_name);
  if (!name) return 0;
  orv::jni::OptionalUtf8 secret(env, password);
  if (!secret) return 0;
  orv_class_collection_t cc = orv_kb_load_class_collection(name.get(), secret.get());
  if (!cc) return 0;
  if (!orv::jni::hold_reference(env, cc, peer)) {
    const orv_error_t cause = orv::error_code();
    orv_cc_delete(cc);
    orv::set_error(cause);
    return cause == orv_error_no_memory ? orv_error_no_memory : 0;
  }
  return to_handle(cc);
}

// `collection` is the Java class collection handed to insertClass.
JNIEXPORT jint ORV_JNI(NetParseClasses)(JNIEnv *env, jobject, jstring source, jlong cc, jobject collection,
                                        jobject receiver) {
  orv::jni::Utf8 text(env, source);
  if (!text) return orv::jni::error_status();
  auto classes = from_handle<orv_class_collection_t>(cc);
  const std::size_t before = member_count(classes);
  if (orv_error_code() != orv_error_none) return orv::jni::error_status();
  ClassParseContext context(env, receiver, collection);
  const orv_status_t status = orv_net_parse_classes(text.get(), classes, &load_class, context.handler(),
                                                    static_cast<ParseContext *>(&context));
  if (!context.failed()) return status;
  if (status == orv_error_none && !undo_new_members(classes, before))
    return orv::set_error(orv_error_error), orv_error_error;
  return orv::set_error(orv_error_jni), orv_error_jni;
}

}  // extern "C"
