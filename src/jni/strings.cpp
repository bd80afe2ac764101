// Natives whose strings need more than a conversion: lists of strings,
// escape removal that keeps the Java object, printing that releases a
// temporary expression, and log files the binding opens.
#include <cstdio>
#include <cstdlib>

#include "expr/expression.h"
#include "jni/jni_support.h"
#include "model/domain.h"
#include "runtime/allocate.h"

namespace {

using orv::jni::from_handle;

// The strings of a Java array, copied for the engine and freed together.
class StringList {
 public:
  StringList(JNIEnv *env, jobjectArray array) {
    if (!array) {
      orv::set_error(orv_error_usage);
      return;
    }
    n_ = static_cast<std::size_t>(env->GetArrayLength(array));
    items_ = static_cast<char **>(orv::_orv_allocate((n_ + 1) * sizeof(char *)));
    if (!items_) return;
    for (std::size_t i = 0; i <= n_; ++i) items_[i] = nullptr;
    for (std::size_t i = 0; i < n_; ++i) {
      auto s = static_cast<jstring>(env->GetObjectArrayElement(array, static_cast<jsize>(i)));
      orv::jni::Utf8 text(env, s);
      env->DeleteLocalRef(s);
      if (!text || !(items_[i] = orv::_orv_allocate_string(text.get()))) return;
    }
    ok_ = true;
  }
  ~StringList() {
    for (std::size_t i = 0; items_ && i < n_; ++i) orv::_orv_free(items_[i]);
    orv::_orv_free(items_);
  }
  StringList(const StringList &) = delete;
  StringList &operator=(const StringList &) = delete;
  explicit operator bool() const { return ok_; }
  const char *const *get() const { return items_; }

 private:
  char **items_ = nullptr;
  std::size_t n_ = 0;
  bool ok_ = false;
};

}  // namespace

extern "C" {

JNIEXPORT jint ORV_JNI(NodeReorderStates)(JNIEnv *env, jobject, jlong node, jobjectArray order) {
  StringList labels(env, order);
  if (!labels) return orv::jni::error_status();
  return orv_node_reorder_states(from_handle<orv_node_t>(node), labels.get());
}

// The same Java string when it holds no backslash; otherwise a new one.
JNIEXPORT jstring ORV_JNI(RemoveEscapeSequences)(JNIEnv *env, jobject, jstring text) {
  orv::jni::Utf8 source(env, text);
  if (!source) return nullptr;
  bool escaped = false;
  for (const char *c = source.get(); *c; ++c) escaped |= *c == '\\';
  if (!escaped) return orv::set_error(orv_error_none), text;
  return orv::jni::new_owned_string(env, orv_remove_escape_sequences(source.get()));
}

// The text of the expression; one that no model or composite holds is
// released afterwards, so that Java can print a temporary expression. When
// the string cannot be made nothing is released: the caller still owns it.
JNIEXPORT jstring ORV_JNI(ExpressionToString)(JNIEnv *env, jobject, jlong expression) {
  auto *e = from_handle<orv_expression_t>(expression);
  jstring text = orv::jni::new_owned_string(env, orv_expression_to_string(e));
  if (text && e->references == 0) orv_expression_delete(e);
  return text;
}

// The cases are the indexes listed (null: all of them); the nodes a list
// made with orvNewList.
JNIEXPORT jint ORV_JNI(DomainSaveCases)(JNIEnv *env, jobject, jlong domain, jstring file_name, jlong nodes,
                                        jlongArray cases, jboolean include_counts, jstring separator,
                                        jstring missing_data) {
  orv::jni::FileName name(env, file_name);
  orv::jni::Utf8 sep(env, separator);
  orv::jni::Utf8 missing(env, missing_data);
  if (!name || !sep || !missing) return orv::jni::error_status();
  long *list = nullptr;
  if (cases) {
    const jsize n = env->GetArrayLength(cases);
    list = static_cast<long *>(orv::_orv_allocate((static_cast<std::size_t>(n) + 1) * sizeof(long)));
    if (!list) return orv::jni::error_status();
    static_assert(sizeof(long) == sizeof(jlong));
    env->GetLongArrayRegion(cases, 0, n, reinterpret_cast<jlong *>(list));
    list[n] = -1;
  }
  const orv_status_t status = orv_domain_save_cases(from_handle<orv_domain_t>(domain), name.get(),
                                                    from_handle<orv_node_t *>(nodes), list, include_counts ? 1 : 0,
                                                    sep.get(), missing.get());
  orv::_orv_free(list);
  return status;
}

// The binding opens the named log file (appending) and owns it: it is
// closed when another is set, when null clears it, and with the domain.
JNIEXPORT jint ORV_JNI(DomainSetLogFile)(JNIEnv *env, jobject, jlong domain, jstring file_name) {
  auto *d = from_handle<orv_domain_s *>(domain);
  if (!orv::is_domain(d)) return orv::usage<jint>(orv_error_usage);
  std::FILE *stream = nullptr;
  if (file_name) {
    orv::jni::FileName name(env, file_name);
    if (!name) return orv::jni::error_status();
    stream = std::fopen(name.get(), "a");
    if (!stream) return orv::set_error(orv_error_io), orv_error_io;
  }
  const orv_status_t status = orv_domain_set_log_file(d, stream);
  if (status != orv_error_none) {
    if (stream) std::fclose(stream);
    return status;
  }
  if (d->binding_log) std::fclose(d->binding_log);
  d->binding_log = stream;
  return status;
}

}  // extern "C"
