// KB saving natives: the password argument may be null (an unprotected file).
#include "jni/jni_support.h"

using orv::jni::from_handle;

extern "C" {

JNIEXPORT jint ORV_JNI(DomainSaveAsKB)(JNIEnv *env, jobject, jlong domain, jstring file_name, jstring password) {
  orv::jni::FileName name(env, file_name);
  if (!name) return orv::jni::error_status();
  orv::jni::OptionalUtf8 secret(env, password);
  if (!secret) return orv::jni::error_status();
  return orv_domain_save_as_kb(from_handle<orv_domain_t>(domain), name.get(), secret.get());
}

JNIEXPORT jint ORV_JNI(CCSaveAsKB)(JNIEnv *env, jobject, jlong cc, jstring file_name, jstring password) {
  orv::jni::FileName name(env, file_name);
  if (!name) return orv::jni::error_status();
  orv::jni::OptionalUtf8 secret(env, password);
  if (!secret) return orv::jni::error_status();
  return orv_cc_save_as_kb(from_handle<orv_class_collection_t>(cc), name.get(), secret.get());
}

}  // extern "C"
