// Conversions and backpointers shared by all natives of the Java binding.
#include "jni/jni_support.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "runtime/allocate.h"

namespace orv::jni {
namespace {

JavaVM *java_vm = nullptr;
std::atomic<long> globals{0};

// The peer field of each record kind, looked up on first attach. Field
// identifiers stay valid while their class is loaded; the class is pinned by
// a global reference.
struct PeerField {
  Tag tag;
  const char *name;
  std::atomic<jfieldID> id{nullptr};
  jobject pinned = nullptr;
};
PeerField fields[] = {{Tag::domain, "modelPeer"}, {Tag::class_record, "modelPeer"},
                      {Tag::node, "nodePeer"},    {Tag::table, "tablePeer"},
                      {Tag::clique, "cliquePeer"}, {Tag::junction_tree, "jtPeer"},
                      {Tag::model, "modelPeer"}};

PeerField *field_of(Tag tag) {
  for (PeerField &f : fields)
    if (f.tag == tag) return &f;
  return nullptr;
}

void zero_peer(JNIEnv *env, Tagged *record) noexcept {
  PeerField *f = field_of(record->tag);
  auto peer = static_cast<jobject>(record->java_peer);
  record->java_peer = nullptr;
  if (!env) return;  // not on a JVM thread: nothing can be released
  if (f && f->id.load()) {
    // The cached identifier belongs to the first peer class seen for this
    // kind; a peer of another class with the same field (a model peer of the
    // API next to one of a program's own) has its own identifier.
    if (env->ExceptionCheck() || env->IsInstanceOf(peer, static_cast<jclass>(f->pinned))) {
      env->SetLongField(peer, f->id.load(), 0);
    } else {
      jclass cls = env->GetObjectClass(peer);
      jfieldID id = env->GetFieldID(cls, f->name, "J");
      if (id) env->SetLongField(peer, id, 0);
      else env->ExceptionClear();
      env->DeleteLocalRef(cls);
    }
  }
  delete_global(env, peer);
}

void release_hook(Tagged *record) noexcept { zero_peer(current_env(), record); }

}  // namespace

JNIEnv *current_env() {
  void *env = nullptr;
  if (!java_vm || java_vm->GetEnv(&env, JNI_VERSION_1_6) != JNI_OK) return nullptr;
  return static_cast<JNIEnv *>(env);
}

Utf8::Utf8(JNIEnv *env, jstring text) {
  if (!text) {
    set_error(orv_error_usage);
    return;
  }
  const char *chars = env->GetStringUTFChars(text, nullptr);
  if (!chars) {
    set_error(orv_error_jni);
    return;
  }
  text_ = _orv_allocate_string(chars);
  env->ReleaseStringUTFChars(text, chars);
}

Utf8::~Utf8() { _orv_free(text_); }

jstring new_string(JNIEnv *env, const char *text) {
  if (!text) return nullptr;
  jstring s = env->NewStringUTF(text);
  if (!s) set_error(orv_error_jni);
  return s;
}

jstring new_owned_string(JNIEnv *env, char *text) {
  jstring s = new_string(env, text);
  std::free(text);
  return s;
}

jobject new_global(JNIEnv *env, jobject object) {
  jobject g = env->NewGlobalRef(object);
  if (g) ++globals;
  return g;
}

void delete_global(JNIEnv *env, jobject object) {
  if (!object) return;
  env->DeleteGlobalRef(object);
  --globals;
}

long live_globals() { return globals.load(); }

bool exception_pending(JNIEnv *env) {
  if (!env->ExceptionCheck()) return false;
  set_error(orv_error_jni);
  return true;
}

jobject prepare_peer(JNIEnv *env, Tag tag, jobject peer) {
  PeerField *f = field_of(tag);
  if (!f || !peer) return set_error(orv_error_usage), nullptr;
  if (!java_vm && env->GetJavaVM(&java_vm) != JNI_OK) return set_error(orv_error_jni), nullptr;
  peer_release = &release_hook;
  jclass cls = env->GetObjectClass(peer);
  jfieldID id = env->GetFieldID(cls, f->name, "J");
  if (!id) {
    env->ExceptionClear();  // NoSuchFieldError: reported as the jni error
    env->DeleteLocalRef(cls);
    return set_error(orv_error_jni), nullptr;
  }
  if (!f->id.load()) {
    f->pinned = new_global(env, cls);
    f->id.store(id);
  }
  env->DeleteLocalRef(cls);
  jobject g = new_global(env, peer);
  if (!g) return set_error(orv_error_no_memory), nullptr;
  set_error(orv_error_none);
  return g;
}

void adopt(JNIEnv *env, Tagged *record, jobject global) {
  if (record->java_peer) zero_peer(env, record);
  record->java_peer = global;
}

orv_status_t attach(JNIEnv *env, Tagged *record, jobject peer) {
  jobject g = prepare_peer(env, record->tag, peer);
  if (!g) return error_code();
  adopt(env, record, g);
  return orv_error_none;
}

jobject hold_reference(JNIEnv *env, Tagged *record, jobject object) {
  if (!java_vm && env->GetJavaVM(&java_vm) != JNI_OK) return set_error(orv_error_jni), nullptr;
  peer_release = &release_hook;
  jobject g = new_global(env, object);
  if (!g) return set_error(orv_error_no_memory), nullptr;
  record->java_peer = g;
  return g;
}

jobject peer_of(JNIEnv *env, const Tagged *record) {
  return record->java_peer ? env->NewLocalRef(static_cast<jobject>(record->java_peer)) : nullptr;
}

void release(Tagged *record) noexcept {
  if (record->java_peer) zero_peer(current_env(), record);
}

}  // namespace orv::jni
