// Backpointers: each engine record maps to at most one Java peer object, so
// that a handle returned by the engine finds the Java object made for it.
#include "compile/junction_forest.h"
#include "expr/model.h"
#include "jni/jni_support.h"
#include "model/domain.h"
#include "model/node.h"
#include "tables/table.h"

namespace {

using orv::jni::from_handle;

template <class Record>
jint set_backpointer(JNIEnv *env, jlong handle, jobject peer, bool (*valid)(const Record *)) {
  auto *record = from_handle<Record *>(handle);
  if (!valid(record) || !peer) return orv::usage<jint>(orv_error_usage);
  return orv::jni::attach(env, record, peer);
}

template <class Record>
jobject get_backpointer(JNIEnv *env, jlong handle, bool (*valid)(const Record *)) {
  auto *record = from_handle<Record *>(handle);
  if (!valid(record)) return orv::usage<jobject>(nullptr);
  orv::set_error(orv_error_none);
  return orv::jni::peer_of(env, record);
}

bool is_plain_domain(const orv_domain_s *d) { return orv::is_domain(d) && !d->is_class(); }
bool is_class(const orv_domain_s *d) { return orv::is_domain(d) && d->is_class(); }

}  // namespace

extern "C" {

JNIEXPORT jint ORV_JNI(DomainSetBackpointer)(JNIEnv *env, jobject, jlong domain, jobject peer) {
  return set_backpointer<orv_domain_s>(env, domain, peer, is_plain_domain);
}
JNIEXPORT jobject ORV_JNI(DomainGetBackpointer)(JNIEnv *env, jobject, jlong domain) {
  return get_backpointer<orv_domain_s>(env, domain, is_plain_domain);
}
JNIEXPORT jint ORV_JNI(ClassSetBackpointer)(JNIEnv *env, jobject, jlong class_, jobject peer) {
  return set_backpointer<orv_domain_s>(env, class_, peer, is_class);
}
JNIEXPORT jobject ORV_JNI(ClassGetBackpointer)(JNIEnv *env, jobject, jlong class_) {
  return get_backpointer<orv_domain_s>(env, class_, is_class);
}
JNIEXPORT jint ORV_JNI(NodeSetBackpointer)(JNIEnv *env, jobject, jlong node, jobject peer) {
  return set_backpointer<orv_node_s>(env, node, peer, orv::is_node);
}
JNIEXPORT jobject ORV_JNI(NodeGetBackpointer)(JNIEnv *env, jobject, jlong node) {
  return get_backpointer<orv_node_s>(env, node, orv::is_node);
}
JNIEXPORT jobject ORV_JNI(NodeGetHomeBackpointer)(JNIEnv *env, jobject, jlong node) {
  auto *n = from_handle<orv_node_s *>(node);
  if (!orv::is_node(n)) return orv::usage<jobject>(nullptr);
  orv::set_error(orv_error_none);
  return orv::jni::peer_of(env, n->owner);
}
JNIEXPORT jint ORV_JNI(TableSetBackpointer)(JNIEnv *env, jobject, jlong table, jobject peer) {
  return set_backpointer<orv_table_s>(env, table, peer, orv::is_table);
}
JNIEXPORT jobject ORV_JNI(TableGetBackpointer)(JNIEnv *env, jobject, jlong table) {
  return get_backpointer<orv_table_s>(env, table, orv::is_table);
}
JNIEXPORT jint ORV_JNI(CliqueSetBackpointer)(JNIEnv *env, jobject, jlong clique, jobject peer) {
  return set_backpointer<orv_clique_s>(env, clique, peer, orv::is_clique);
}
JNIEXPORT jobject ORV_JNI(CliqueGetBackpointer)(JNIEnv *env, jobject, jlong clique) {
  return get_backpointer<orv_clique_s>(env, clique, orv::is_clique);
}
JNIEXPORT jint ORV_JNI(JTSetBackpointer)(JNIEnv *env, jobject, jlong tree, jobject peer) {
  return set_backpointer<orv_junction_tree_s>(env, tree, peer, orv::is_junction_tree);
}
JNIEXPORT jobject ORV_JNI(JTGetBackpointer)(JNIEnv *env, jobject, jlong tree) {
  return get_backpointer<orv_junction_tree_s>(env, tree, orv::is_junction_tree);
}
JNIEXPORT jint ORV_JNI(ModelSetBackpointer)(JNIEnv *env, jobject, jlong model, jobject peer) {
  return set_backpointer<orv_model_s>(env, model, peer, orv::is_model);
}
JNIEXPORT jobject ORV_JNI(ModelGetBackpointer)(JNIEnv *env, jobject, jlong model) {
  return get_backpointer<orv_model_s>(env, model, orv::is_model);
}

}  // extern "C"
