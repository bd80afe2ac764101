// Natives that copy numbers between Java arrays and the engine: table data,
// configurations, per-row utilities of decisions, and the two-valued outputs
// (position, node size).
#include <cstring>

#include "jni/jni_support.h"
#include "runtime/allocate.h"

namespace {

using orv::jni::from_handle;

// Checks a copy of count entries from start against the table and the array.
bool copy_fits(JNIEnv *env, orv_table_t table, jdoubleArray array, jlong start, jlong count, std::size_t *size) {
  *size = orv_table_get_size(table);
  if (orv_error_code() != orv_error_none) return false;
  if (!array || start < 0 || count < 0 || static_cast<std::size_t>(start) >= *size ||
      *size - static_cast<std::size_t>(start) < static_cast<std::size_t>(count) ||
      env->GetArrayLength(array) < count)
    return orv::usage(false);
  return true;
}

// Discrete nodes of a table: the length of its configurations.
std::size_t configuration_length(orv_table_t table) {
  std::size_t n = 0;
  if (orv_node_t *nodes = orv_table_get_nodes(table))
    for (; *nodes && orv_node_get_kind(*nodes) == orv_kind_discrete; ++nodes) ++n;
  return n;
}

}  // namespace

extern "C" {

JNIEXPORT jint ORV_JNI(TableGetData)(JNIEnv *env, jobject, jlong table, jdoubleArray array, jlong start,
                                     jlong count) {
  auto t = from_handle<orv_table_t>(table);
  std::size_t size = 0;
  if (!copy_fits(env, t, array, start, count, &size)) return orv::jni::error_status();
  const double *data = orv_table_get_data(t);
  if (count > 0) env->SetDoubleArrayRegion(array, 0, static_cast<jsize>(count), data + start);
  if (orv::jni::exception_pending(env)) return orv_error_jni;
  return orv_error_none;
}

JNIEXPORT jint ORV_JNI(TableSetData)(JNIEnv *env, jobject, jlong table, jdoubleArray array, jlong start,
                                     jlong count) {
  auto t = from_handle<orv_table_t>(table);
  std::size_t size = 0;
  if (!copy_fits(env, t, array, start, count, &size)) return orv::jni::error_status();
  if (count == 0) return orv_error_none;
  auto *copy = static_cast<double *>(orv::_orv_allocate(static_cast<std::size_t>(count) * sizeof(double)));
  if (!copy) return orv::jni::error_status();
  env->GetDoubleArrayRegion(array, 0, static_cast<jsize>(count), copy);
  const jint status = orv::jni::exception_pending(env)
                          ? orv_error_jni
                          : orv_table_set_data(t, copy, static_cast<std::size_t>(start),
                                               static_cast<std::size_t>(count));
  orv::_orv_free(copy);
  return status;
}

JNIEXPORT jlong ORV_JNI(TableGetIndexFromConfiguration)(JNIEnv *env, jobject, jlong table,
                                                        jlongArray configuration) {
  auto t = from_handle<orv_table_t>(table);
  orv::set_error(orv_error_none);
  const std::size_t n = configuration_length(t);
  if (orv_error_code() != orv_error_none) return -1;
  if (!configuration || env->GetArrayLength(configuration) < static_cast<jsize>(n)) return orv::usage<jlong>(-1);
  static_assert(sizeof(jlong) == sizeof(std::size_t));
  auto *states = static_cast<std::size_t *>(orv::_orv_allocate((n + 1) * sizeof(std::size_t)));
  if (!states) return -1;
  env->GetLongArrayRegion(configuration, 0, static_cast<jsize>(n), reinterpret_cast<jlong *>(states));
  const auto index = static_cast<jlong>(orv_table_get_index_from_configuration(t, states));
  orv::_orv_free(states);
  return index;
}

JNIEXPORT jint ORV_JNI(TableGetConfigurationFromIndex)(JNIEnv *env, jobject, jlong table, jlongArray configuration,
                                                       jlong index) {
  auto t = from_handle<orv_table_t>(table);
  orv::set_error(orv_error_none);
  const std::size_t n = configuration_length(t);
  if (orv_error_code() != orv_error_none) return orv::jni::error_status();
  if (!configuration || env->GetArrayLength(configuration) < static_cast<jsize>(n) || index < 0)
    return orv::usage<jint>(orv_error_usage);
  auto *states = static_cast<std::size_t *>(orv::_orv_allocate((n + 1) * sizeof(std::size_t)));
  if (!states) return orv::jni::error_status();
  const orv_status_t status = orv_table_get_configuration_from_index(t, states, static_cast<std::size_t>(index));
  if (status == orv_error_none)
    env->SetLongArrayRegion(configuration, 0, static_cast<jsize>(n), reinterpret_cast<const jlong *>(states));
  orv::_orv_free(states);
  return status;
}

// A decision's expected utilities per policy row into an array as long as its
// policy table, and the row probabilities into a second one (or null).
JNIEXPORT jint ORV_JNI(NodeGetDecisionUtilities)(JNIEnv *env, jobject, jlong node, jdoubleArray utilities,
                                                 jdoubleArray rowProbabilities) {
  auto n = from_handle<orv_node_t>(node);
  if (orv_node_get_category(n) != orv_category_decision) return orv::usage<jint>(orv_error_usage);
  orv_table_t policy = orv_node_get_table(n);
  if (!policy) return orv::jni::error_status();
  const std::size_t size = orv_table_get_size(policy), rows = size / orv_node_get_number_of_states(n);
  if (!utilities || env->GetArrayLength(utilities) < static_cast<jsize>(size) ||
      (rowProbabilities && env->GetArrayLength(rowProbabilities) < static_cast<jsize>(rows)))
    return orv::usage<jint>(orv_error_usage);
  auto *values = static_cast<double *>(orv::_orv_allocate((size + rows) * sizeof(double)));
  if (!values) return orv::jni::error_status();
  const orv_status_t status = orv_node_get_decision_utilities(n, values, values + size);
  if (status == orv_error_none) {
    env->SetDoubleArrayRegion(utilities, 0, static_cast<jsize>(size), values);
    if (rowProbabilities) env->SetDoubleArrayRegion(rowProbabilities, 0, static_cast<jsize>(rows), values + size);
  }
  orv::_orv_free(values);
  if (orv::jni::exception_pending(env)) return orv_error_jni;
  return status;
}

JNIEXPORT jint ORV_JNI(NodeGetXCoordinate)(JNIEnv *, jobject, jlong node) {
  int x = 0, y = 0;
  return orv_node_get_position(from_handle<orv_node_t>(node), &x, &y) == orv_error_none ? x : 0;
}

JNIEXPORT jint ORV_JNI(NodeGetYCoordinate)(JNIEnv *, jobject, jlong node) {
  int x = 0, y = 0;
  return orv_node_get_position(from_handle<orv_node_t>(node), &x, &y) == orv_error_none ? y : 0;
}

JNIEXPORT jlong ORV_JNI(DomainGetNodeWidth)(JNIEnv *, jobject, jlong domain) {
  std::size_t width = 0, height = 0;
  return orv_domain_get_node_size(from_handle<orv_domain_t>(domain), &width, &height) == orv_error_none
             ? static_cast<jlong>(width) : -1;
}

JNIEXPORT jlong ORV_JNI(DomainGetNodeHeight)(JNIEnv *, jobject, jlong domain) {
  std::size_t width = 0, height = 0;
  return orv_domain_get_node_size(from_handle<orv_domain_t>(domain), &width, &height) == orv_error_none
             ? static_cast<jlong>(height) : -1;
}

}  // extern "C"
