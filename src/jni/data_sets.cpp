// Data-set natives with rules of their own: numbers and interval boundaries
// come back as double[], distinct values as String[], boundaries go in as
// double[], and a null cell text means a missing cell.
#include <cstdlib>

#include "jni/jni_support.h"
#include "jni/parse_callbacks.h"

namespace {

using orv::jni::from_handle;

// A Java copy of an array the engine gave away (freed here); null with the
// engine's error when it gave none, and jni when the JVM refused.
jdoubleArray owned_doubles(JNIEnv *env, double *values, std::size_t count) {
  if (!values && orv_error_code() != orv_error_none) return nullptr;
  jdoubleArray array = env->NewDoubleArray(static_cast<jsize>(count));
  if (array && count > 0) env->SetDoubleArrayRegion(array, 0, static_cast<jsize>(count), values);
  std::free(values);
  if (!array || orv::jni::exception_pending(env)) return orv::set_error(orv_error_jni), nullptr;
  return array;
}

orv_data_set_t data_set(jlong handle) { return from_handle<orv_data_set_t>(handle); }

}  // namespace

extern "C" {

JNIEXPORT jdoubleArray ORV_JNI(DSGetNumbers)(JNIEnv *env, jobject, jlong ds, jlong column, jdouble missing) {
  const std::size_t rows = orv_ds_get_number_of_rows(data_set(ds));
  if (orv_error_code() != orv_error_none) return nullptr;
  return owned_doubles(env, orv_ds_get_numbers(data_set(ds), static_cast<std::size_t>(column), missing), rows);
}

JNIEXPORT jobjectArray ORV_JNI(DSGetDistinctValues)(JNIEnv *env, jobject, jlong ds, jlong column) {
  const char **values = orv_ds_get_distinct_values(data_set(ds), static_cast<std::size_t>(column));
  if (!values) return nullptr;
  jsize count = 0;
  while (values[count]) ++count;
  jclass string_class = env->FindClass("java/lang/String");
  jobjectArray array = string_class ? env->NewObjectArray(count, string_class, nullptr) : nullptr;
  for (jsize i = 0; array && i < count; ++i) {
    jstring text = orv::jni::new_string(env, values[i]);
    if (!text) return nullptr;
    env->SetObjectArrayElement(array, i, text);
    env->DeleteLocalRef(text);
  }
  if (!array) return orv::set_error(orv_error_jni), nullptr;
  return array;
}

JNIEXPORT jdoubleArray ORV_JNI(DSDiscretizeColumn)(JNIEnv *env, jobject, jlong ds, jlong column, jint method,
                                                   jlong count) {
  std::size_t intervals = 0;
  double *cuts = orv_ds_discretize_column(data_set(ds), static_cast<std::size_t>(column),
                                          static_cast<orv_discretization_t>(method), static_cast<std::size_t>(count),
                                          &intervals);
  return owned_doubles(env, cuts, cuts ? intervals + 1 : 0);
}

JNIEXPORT jdoubleArray ORV_JNI(DSComputeIEMIntervals)(JNIEnv *env, jobject, jlong ds, jlong column,
                                                      jlong class_column) {
  std::size_t intervals = 0;
  double *cuts = orv_ds_compute_iem_intervals(data_set(ds), static_cast<std::size_t>(column),
                                              static_cast<std::size_t>(class_column), &intervals);
  return owned_doubles(env, cuts, cuts ? intervals + 1 : 0);
}

// Reads a file (is_file) or text; the delimiter crosses as a Java char. A
// Java exception from the receiver deletes the new data set and gives jni.
JNIEXPORT jlong ORV_JNI(ParseDataSet)(JNIEnv *env, jobject, jboolean is_file, jstring source, jchar delimiter,
                                      jobject receiver) {
  orv::jni::Utf8 text(env, source);
  if (!text) return 0;
  orv::jni::ParseContext context(env, receiver);
  orv_data_set_t ds = _orv_parse_data_set(is_file ? 1 : 0, text.get(), static_cast<int>(delimiter),
                                          context.handler(), &context);
  if (context.failed()) {
    if (ds) orv_ds_delete(ds);
    return orv::set_error(orv_error_jni), 0;
  }
  return orv::jni::to_handle(ds);
}

// A null string stores a missing cell, as NULL does in C.
JNIEXPORT jint ORV_JNI(DSSetDataItem)(JNIEnv *env, jobject, jlong ds, jlong row, jlong column, jstring data) {
  const auto r = static_cast<std::size_t>(row), c = static_cast<std::size_t>(column);
  if (!data) return orv_ds_set_data_item(data_set(ds), r, c, nullptr);
  orv::jni::Utf8 text(env, data);
  if (!text) return orv::jni::error_status();
  return orv_ds_set_data_item(data_set(ds), r, c, text.get());
}

// The boundaries array holds intervals + 1 entries.
JNIEXPORT jint ORV_JNI(DSApplyDiscretization)(JNIEnv *env, jobject, jlong ds, jlong column,
                                              jdoubleArray boundaries) {
  if (!boundaries) return orv::usage<jint>(orv_error_usage);
  const jsize length = env->GetArrayLength(boundaries);
  if (length < 2) return orv::usage<jint>(orv_error_usage);
  jdouble *values = env->GetDoubleArrayElements(boundaries, nullptr);
  if (!values) return orv::set_error(orv_error_jni), orv_error_jni;
  const orv_status_t status = orv_ds_apply_discretization(data_set(ds), static_cast<std::size_t>(column), values,
                                                          static_cast<std::size_t>(length - 1));
  env->ReleaseDoubleArrayElements(boundaries, values, JNI_ABORT);
  return status;
}

}  // extern "C"
