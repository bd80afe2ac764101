// The parse-error receiver of the parsing natives: engine parse messages go
// to the Java method parseError(int line, String message) of the receiver.
#pragma once

#include "jni/jni_support.h"

namespace orv::jni {

class ParseContext {
 public:
  ParseContext(JNIEnv *env, jobject receiver) : env_(env), receiver_(receiver) {}
  orv_error_handler_t handler() const { return &ParseContext::report; }
  // A Java exception is pending (thrown by parseError or by the lookup of
  // the method): the caller undoes its result and reports jni.
  bool failed() const { return env_->ExceptionCheck(); }
  JNIEnv *env() const { return env_; }
  jobject receiver() const { return receiver_; }

 private:
  static void report(std::size_t line, const char *message, void *data);
  JNIEnv *env_;
  jobject receiver_;
  jmethodID parse_error_ = nullptr;
};

}  // namespace orv::jni
