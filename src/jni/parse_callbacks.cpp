// Delivery of parse messages to the Java receiver.
#include "jni/parse_callbacks.h"

namespace orv::jni {

// Nothing happens without a receiver, while an exception is pending (so a
// throwing parseError is never called again) or without room for a local.
void ParseContext::report(std::size_t line, const char *message, void *data) {
  auto *self = static_cast<ParseContext *>(data);
  JNIEnv *env = self->env_;
  if (!self->receiver_ || env->ExceptionCheck() || env->EnsureLocalCapacity(1) != 0) return;
  if (!self->parse_error_) {
    jclass cls = env->GetObjectClass(self->receiver_);
    self->parse_error_ = env->GetMethodID(cls, "parseError", "(ILjava/lang/String;)V");
    env->DeleteLocalRef(cls);
    if (!self->parse_error_) return;  // NoSuchMethodError stays pending
  }
  jstring text = env->NewStringUTF(message ? message : "");
  if (!text) return;
  env->CallVoidMethod(self->receiver_, self->parse_error_, static_cast<jint>(line), text);
  env->ExceptionCheck();  // a throw stays pending for the native's caller
  env->DeleteLocalRef(text);
}

}  // namespace orv::jni
