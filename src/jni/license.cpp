// The license check's natives. The engine caps nothing: these report what
// the license file $ORVELHOME/orvel.license holds (lines key=value with the
// keys organization, user, package and expires; '#' starts a comment), or
// empty strings without one, and every restriction allows everything.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "jni/jni_support.h"

#ifndef ORVEL_VERSION
#define ORVEL_VERSION "0"
#endif

namespace {

struct License {
  std::string organization, user, package, expires;
};

std::mutex license_mutex;
License license;  // the one license record; orvNewLicense re-reads it
std::atomic<bool> running{false};

void read_license(License &out) {
  out = License{};
  const char *home = std::getenv("ORVELHOME");
  if (!home || !*home) return;
  std::FILE *f = std::fopen((std::string(home) + "/orvel.license").c_str(), "r");
  if (!f) return;
  char line[1024];
  while (std::fgets(line, sizeof line, f)) {
    std::string text(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    const auto eq = text.find('=');
    if (text.empty() || text[0] == '#' || eq == std::string::npos) continue;
    const std::string key = text.substr(0, eq), value = text.substr(eq + 1);
    if (key == "organization") out.organization = value;
    else if (key == "user") out.user = value;
    else if (key == "package") out.package = value;
    else if (key == "expires") out.expires = value;
  }
  std::fclose(f);
}

// A field of the given license (0: the current one, read now).
jstring field(JNIEnv *env, jlong handle, std::string License::*member) {
  orv::set_error(orv_error_none);
  std::lock_guard<std::mutex> lock(license_mutex);
  if (handle == 0) read_license(license);
  else if (handle != orv::jni::to_handle(&license)) return orv::usage<jstring>(nullptr);
  return orv::jni::new_string(env, (license.*member).c_str());
}

}  // namespace

extern "C" {

JNIEXPORT jstring ORV_JNI(GetAPIID)(JNIEnv *env, jobject) { return orv::jni::new_string(env, "orvel-api-1"); }
JNIEXPORT jstring ORV_JNI(GetBuildID)(JNIEnv *env, jobject) {
  return orv::jni::new_string(env, "orvel-" ORVEL_VERSION);
}
JNIEXPORT jstring ORV_JNI(GetROOTID)(JNIEnv *env, jobject) {
  const char *home = std::getenv("ORVELHOME");
  return orv::jni::new_string(env, home ? home : "");
}
JNIEXPORT void ORV_JNI(SetUpAndRunning)(JNIEnv *, jobject) { running = true; }
JNIEXPORT void ORV_JNI(SetNotRunning)(JNIEnv *, jobject) { running = false; }

JNIEXPORT jlong ORV_JNI(NewLicense)(JNIEnv *, jobject) {
  orv::set_error(orv_error_none);
  std::lock_guard<std::mutex> lock(license_mutex);
  read_license(license);
  return orv::jni::to_handle(&license);
}

JNIEXPORT jstring ORV_JNI(GetOrganization)(JNIEnv *env, jobject, jlong license) {
  return field(env, license, &License::organization);
}
JNIEXPORT jstring ORV_JNI(GetUserName)(JNIEnv *env, jobject, jlong license) {
  return field(env, license, &License::user);
}
JNIEXPORT jstring ORV_JNI(GetPackageName)(JNIEnv *env, jobject, jlong license) {
  return field(env, license, &License::package);
}
JNIEXPORT jstring ORV_JNI(GetSupportExpirationDate)(JNIEnv *env, jobject, jlong license) {
  return field(env, license, &License::expires);
}

JNIEXPORT jboolean ORV_JNI2(RestrictionAllowGui)(JNIEnv *, jobject) { return JNI_TRUE; }
JNIEXPORT jboolean ORV_JNI2(RestrictionAllowPlain)(JNIEnv *, jobject) { return JNI_TRUE; }

}  // extern "C"
