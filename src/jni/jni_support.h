// The helpers every native of the Java binding uses: handle and string
// conversions, error codes, and the backpointers between engine records and
// their Java peers.
#pragma once

#include <jni.h>

#include <cstdint>

#include "model/records.h"
#include "orvel.h"
#include "runtime/error.h"

#define ORV_JNI(name) JNICALL Java_COM_orvel_OAPI_Native_AbstractNativeOAPI_orv##name
#define ORV_JNI2(name) JNICALL Java_COM_orvel_OAPI_Native_NativeOAPI2_orv##name

namespace orv::jni {

// Handles cross as the engine's pointers carried in a long; 0 is none.
template <class T>
T from_handle(jlong handle) {
  return reinterpret_cast<T>(static_cast<std::intptr_t>(handle));
}
template <class T>
jlong to_handle(T pointer) {
  return static_cast<jlong>(reinterpret_cast<std::intptr_t>(pointer));
}

// The calling thread's error code as a status result.
inline jint error_status() { return static_cast<jint>(error_code()); }

// A Java string copied into a C string of the engine's allocator. Converts
// to false when the copy failed: usage for a null string, jni when the JVM
// refused its characters, no_memory.
class Utf8 {
 public:
  Utf8(JNIEnv *env, jstring text);
  ~Utf8();
  Utf8(const Utf8 &) = delete;
  Utf8 &operator=(const Utf8 &) = delete;
  explicit operator bool() const { return text_ != nullptr; }
  const char *get() const { return text_; }

 private:
  char *text_ = nullptr;
};

// A string argument that may be null (passed on as NULL); false only when a
// non-null string could not be converted.
class OptionalUtf8 {
 public:
  OptionalUtf8(JNIEnv *env, jstring text) : present_(text != nullptr), text_(env, text) {
    if (!present_) set_error(orv_error_none);
  }
  explicit operator bool() const { return !present_ || bool(text_); }
  const char *get() const { return present_ ? text_.get() : nullptr; }

 private:
  bool present_;
  Utf8 text_;
};

// File names are passed to the C library in the JVM's modified UTF-8; kept a
// separate conversion so that a platform encoding can later apply to them alone.
using FileName = Utf8;

// A new Java string for C text; null for null text. Sets jni on failure.
jstring new_string(JNIEnv *env, const char *text);
// The same for a string the engine gave away: it is freed after the copy.
jstring new_owned_string(JNIEnv *env, char *text);

// Backpointers. attach() makes a global reference to `peer` (whose class
// must have the long field of the record's kind: "modelPeer", "nodePeer",
// "tablePeer", "cliquePeer" or "jtPeer") and stores it in the record,
// releasing a previous one (whose peer field is zeroed). Returns the status:
// no_memory when the reference can not be made, jni when the field is missing.
orv_status_t attach(JNIEnv *env, Tagged *record, jobject peer);
// The two halves of attach: a global reference to a peer fit for records of
// `tag` (null with the error set otherwise), and storing it in the record.
jobject prepare_peer(JNIEnv *env, Tag tag, jobject peer);
void adopt(JNIEnv *env, Tagged *record, jobject global);
// A global reference held by a record whose Java object has no handle field
// (a class collection); released when the record is freed. Null with
// no_memory when the reference can not be made.
jobject hold_reference(JNIEnv *env, Tagged *record, jobject object);
// The stored peer as a new local reference, or null.
jobject peer_of(JNIEnv *env, const Tagged *record);
// Releases the record's reference now, zeroing the peer's field.
void release(Tagged *record) noexcept;

// The calling thread's environment once a peer was attached; null before
// that and on a thread the JVM does not know.
JNIEnv *current_env();

// A global reference counted by the binding (the test hooks read the count).
jobject new_global(JNIEnv *env, jobject object);
void delete_global(JNIEnv *env, jobject object);
long live_globals();

// Sets jni when a Java exception is pending; true then.
bool exception_pending(JNIEnv *env);

}  // namespace orv::jni
