// Parsing natives other than the domain constructor: each takes a receiver
// of parse messages; a Java exception raised by it undoes the result and
// reports jni.
#include "jni/jni_support.h"
#include "jni/parse_callbacks.h"

namespace {

using orv::jni::from_handle;
using orv::jni::to_handle;
using orv::jni::ParseContext;

template <class Parse>
jint parse_status(JNIEnv *env, jstring source, jobject receiver, Parse parse) {
  orv::jni::FileName name(env, source);
  if (!name) return orv::jni::error_status();
  ParseContext context(env, receiver);
  const orv_status_t status = parse(name.get(), context);
  if (context.failed()) return orv::set_error(orv_error_jni), orv_error_jni;
  return status;
}

}  // namespace

extern "C" {

JNIEXPORT jint ORV_JNI(DomainParseCase)(JNIEnv *env, jobject, jlong domain, jstring file_name, jobject receiver) {
  return parse_status(env, file_name, receiver, [&](const char *name, ParseContext &c) {
    return orv_domain_parse_case(from_handle<orv_domain_t>(domain), name, c.handler(), &c);
  });
}

JNIEXPORT jint ORV_JNI(DomainParseCases)(JNIEnv *env, jobject, jlong domain, jstring file_name, jobject receiver) {
  return parse_status(env, file_name, receiver, [&](const char *name, ParseContext &c) {
    return orv_domain_parse_cases(from_handle<orv_domain_t>(domain), name, c.handler(), &c);
  });
}

// The node list belongs to the domain; a throwing receiver only reports jni.
JNIEXPORT jlong ORV_JNI(DomainParseNodes)(JNIEnv *env, jobject, jlong domain, jstring file_name, jobject receiver) {
  orv::jni::FileName name(env, file_name);
  if (!name) return 0;
  ParseContext context(env, receiver);
  orv_node_t *nodes =
      orv_domain_parse_nodes(from_handle<orv_domain_t>(domain), name.get(), context.handler(), &context);
  if (context.failed()) return orv::set_error(orv_error_jni), 0;
  return to_handle(nodes);
}

JNIEXPORT jlong ORV_JNI(StringParseExpression)(JNIEnv *env, jobject, jstring text, jlong model, jobject receiver) {
  orv::jni::Utf8 source(env, text);
  if (!source) return 0;
  ParseContext context(env, receiver);
  orv_expression_t e = orv_string_parse_expression(source.get(), from_handle<orv_model_t>(model), context.handler(),
                                                   &context);
  if (context.failed()) {
    if (e) orv_expression_delete(e);
    return orv::set_error(orv_error_jni), 0;
  }
  return to_handle(e);
}

JNIEXPORT jint ORV_JNI(ModelSetExpressionFromString)(JNIEnv *env, jobject, jlong model, jlong index, jstring text,
                                                     jobject receiver) {
  orv::jni::Utf8 source(env, text);
  if (!source) return orv::jni::error_status();
  ParseContext context(env, receiver);
  const orv_status_t status = orv_model_set_expression_from_string(
      from_handle<orv_model_t>(model), static_cast<std::size_t>(index), source.get(), context.handler(), &context);
  if (context.failed()) return orv::set_error(orv_error_jni), orv_error_jni;
  return status;
}

}  // extern "C"
