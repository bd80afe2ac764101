#!/usr/bin/env python3
"""Generates both sides of the Java binding from the natives table.

Reads src/jni/natives.def, the prototypes in include/orvel.h and the natives
written by hand in src/jni/*.cpp (every definition of the form
`jtype ORV_JNI(Name)(JNIEnv *env, jobject self, ...)`), and writes:

  natives_generated.cpp  a forwarder for every native whose C function orvel.h
                         declares with plain types only and that is not written
                         by hand;
  AbstractNativeOAPI.java, NativeOAPI2.java
                         the declarations of every native that exists, plain or
                         by hand, so that no native exists on one side only;
  natives.txt            the signature list: one line per bound native, its
                         Java signature, its origin and the C function.

Plain types: handles and lists of handles (long), size_t and long (long),
double, enumerations and status codes (int), int (boolean when it is a truth
value: a returned int, where the failure value -1 reads as false, or a
parameter named value or include_*/is_*; int otherwise), unsigned int (int), const char * (String in both directions;
returned char * is freed after the copy). Anything else (out pointers, arrays,
callbacks, streams) needs a native written by hand.

usage: gen_natives.py NATIVES_DEF ORVEL_H JNI_SOURCE_DIR OUTPUT_DIR
"""
import os
import re
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from api_status import read_natives  # noqa: E402

PACKAGE = "COM.orvel.OAPI.Native"
CLASS1, CLASS2 = "AbstractNativeOAPI", "NativeOAPI2"
HANDLES = {"orv_domain_t", "orv_node_t", "orv_table_t", "orv_clique_t", "orv_junction_tree_t",
           "orv_class_t", "orv_class_collection_t", "orv_model_t", "orv_expression_t",
           "orv_attribute_t", "orv_data_set_t"}
LISTS = {h + "*" for h in HANDLES} | {"orv_node_list_t", "void**", "void*"}
JNI_TO_JAVA = {"jlong": "long", "jint": "int", "jboolean": "boolean", "jdouble": "double",
               "jstring": "String", "jobject": "Object", "jdoubleArray": "double[]",
               "jlongArray": "long[]", "jobjectArray": "Object[]", "jchar": "char", "void": "void"}


def norm(c_type):
    return re.sub(r"\s+", " ", c_type.replace("*", " * ")).strip().replace(" *", "*").replace("* ", "*")


def read_header(path):
    text = open(path, encoding="utf-8").read()
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
    enums = set(re.findall(r"typedef\s+enum\s*\{[^}]*\}\s*(\w+)\s*;", text))
    error_values = {}
    for body, name in re.findall(r"typedef\s+enum\s*\{([^}]*)\}\s*(\w+)\s*;", text):
        match = re.search(r"\b\w+_error\s*=\s*(-?\d+)", body)
        if match:
            error_values[name] = match.group(1)
    prototypes = {}
    for ret, name, params in re.findall(r"ORV_API\s+([^;(]*?)\b(orv_\w+)\s*\(([^)]*)\)\s*;", text, flags=re.S):
        plist = []
        params = params.strip()
        if params and params != "void":
            for p in params.split(","):
                match = re.match(r"(.*?)(\w+)\s*$", p.strip(), flags=re.S)
                plist.append((norm(match.group(1)), match.group(2)))
        prototypes[name] = (norm(ret), plist)
    return prototypes, enums | {"orv_status_t"}, error_values


def read_hand_written(directory):
    """Name -> (second class, JNI return type, [(jni type, name)]) of each hand-written native."""
    found = {}
    pattern = re.compile(r"\b(\w+)\s+ORV_JNI(2?)\((\w+)\)\s*\(([^)]*)\)", flags=re.S)
    for entry in sorted(os.listdir(directory)):
        if not entry.endswith(".cpp"):
            continue
        text = open(os.path.join(directory, entry), encoding="utf-8").read()
        for ret, second, name, params in pattern.findall(text):
            args = []
            for i, p in enumerate(params.split(",")):
                words = p.replace("*", " ").split()
                if i >= 2:
                    args.append((words[0], words[-1] if len(words) > 1 else f"arg{i - 1}"))
            found[name] = (bool(second), ret, args)
    return found


def truth_parameter(name, function):
    return name == "value" and "boolean" in function or name.startswith(("include_", "is_"))


def map_type(c_type, name, function, enums, returned):
    """(jni type, java type, conversion kind) or None when the type is not plain."""
    if c_type in HANDLES or c_type in LISTS:
        return ("jlong", "long", "pointer")
    if c_type in ("size_t", "long"):
        return ("jlong", "long", "number")
    if c_type == "double":
        return ("jdouble", "double", "number")
    if c_type in enums:
        return ("jint", "int", "enum")
    if c_type == "unsigned int":
        return ("jint", "int", "number")
    if c_type == "int":
        if returned or truth_parameter(name, function):
            return ("jboolean", "boolean", "truth")
        return ("jint", "int", "number")
    if c_type == "const char*":
        return ("jstring", "String", "string")
    if returned and c_type == "char*":
        return ("jstring", "String", "owned_string")
    if returned and c_type == "void":
        return ("void", "void", "void")
    return None


def failure_value(c_type, kind, error_values):
    if c_type == "orv_status_t":
        return "orv::jni::error_status()"
    if kind in ("pointer", "string", "owned_string"):
        return "0"
    if kind == "truth":
        return "JNI_FALSE"
    if c_type == "double":
        return "-1.0"
    if c_type in ("size_t", "long"):
        return "-1"
    if c_type in error_values:
        return error_values[c_type]
    return "-1" if kind != "void" else ""


def camel(name):
    """A C parameter name in Java style: case_index -> caseIndex, class_ -> klass."""
    if name == "class_":
        return "klass"
    head, *rest = name.strip("_").split("_")
    return head + "".join(w[:1].upper() + w[1:] for w in rest)


def java_name(name):
    return "orv" + name


def generate(natives_def, header, jni_dir, out_dir):
    natives, _ = read_natives(natives_def)
    prototypes, enums, error_values = read_header(header)
    hand = read_hand_written(jni_dir)
    cpp, sigs, java = [], [], {CLASS1: [], CLASS2: []}
    unbound = []
    for n in natives:
        name, function = n["java"], n["function"]
        if name in hand:
            second, ret, args = hand[name]
            java_args = ", ".join(f"{JNI_TO_JAVA[t]} {camel(a)}" for t, a in args)
            decl = f"{JNI_TO_JAVA[ret]} {java_name(name)}({java_args})"
            java[CLASS2 if second else CLASS1].append(decl)
            sigs.append(f"{decl:<90} hand    {function}")
            continue
        if n["kind"] not in ("api", "alias") or function not in prototypes:
            continue
        c_ret, params = prototypes[function]
        ret = map_type(c_ret, "", function, enums, True)
        mapped = [map_type(t, p, function, enums, False) for t, p in params]
        if ret is None or any(m is None for m in mapped):
            unbound.append(f"{name} ({function})")
            continue
        java_args = ", ".join(f"{m[1]} {camel(p)}" for m, (_, p) in zip(mapped, params))
        decl = f"{ret[1]} {java_name(name)}({java_args})"
        java[CLASS1].append(decl)
        sigs.append(f"{decl:<90} plain   {function}")
        cpp.append(forwarder(name, function, c_ret, ret, params, mapped, error_values))
    write(out_dir, "natives_generated.cpp", CPP_HEAD + "\n".join(cpp) + "\n}  // extern \"C\"\n")
    java_dir = os.path.join(out_dir, *PACKAGE.split("."))
    os.makedirs(java_dir, exist_ok=True)
    for cls, decls in java.items():
        write(java_dir, f"{cls}.java", java_class(cls, decls))
    write(out_dir, "natives.txt", SIG_HEAD + "\n".join(sigs) + "\n")
    if unbound:
        write(out_dir, "unbound.txt", "\n".join(unbound) + "\n")
    elif os.path.exists(os.path.join(out_dir, "unbound.txt")):
        os.remove(os.path.join(out_dir, "unbound.txt"))


def forwarder(name, function, c_ret, ret, params, mapped, error_values):
    jparams = "".join(f", {m[0]} {p}" for m, (_, p) in zip(mapped, params))
    lines = [f"JNIEXPORT {ret[0]} ORV_JNI({name})(JNIEnv *env, jobject{jparams}) {{"]
    if not any(m[2] == "string" for m in mapped):
        lines.append("  (void)env;")
    call_args = []
    fail = failure_value(c_ret, ret[2], error_values)
    for m, (c_type, p) in zip(mapped, params):
        if m[2] == "string":
            lines.append(f"  orv::jni::Utf8 c_{p}(env, {p});")
            lines.append(f"  if (!c_{p}) return {fail};")
            call_args.append(f"c_{p}.get()")
        elif m[2] == "pointer":
            call_args.append(f"orv::jni::from_handle<{c_type}>({p})")
        elif m[2] == "truth":
            call_args.append(f"{p} ? 1 : 0")
        else:
            call_args.append(f"static_cast<{c_type}>({p})")
    call = f"{function}({', '.join(call_args)})"
    kind = ret[2]
    if kind == "void":
        lines.append(f"  {call};")
    elif kind == "pointer":
        lines.append(f"  return orv::jni::to_handle({call});")
    elif kind == "truth":
        lines.append(f"  return {call} > 0 ? JNI_TRUE : JNI_FALSE;  // failures (-1) read as false")
    elif kind == "string":
        lines.append(f"  return orv::jni::new_string(env, {call});")
    elif kind == "owned_string":
        lines.append(f"  return orv::jni::new_owned_string(env, {call});")
    else:
        lines.append(f"  return static_cast<{ret[0]}>({call});")
    lines.append("}")
    return "\n".join(lines) + "\n"


def java_class(cls, decls):
    doc = ("The native methods of liborvel, one per engine function; generated from the natives table.\n"
           " * Handles are the engine's pointers as long (0 is none), size_t as long, enumerations as\n"
           " * int; the calling thread's error code (orvErrorCode) tells how a call went."
           if cls == CLASS1 else "The feature restrictions of the license check.")
    body = "\n".join(f"  public native {d};" for d in decls)
    load = ("  static {\n    System.loadLibrary(System.getProperty(\"orvel.library\", \"orvel\"));\n  }\n\n"
            f"  public {cls}() {{}}\n\n")
    modifier = "abstract " if cls == CLASS1 else ""
    return (f"// Generated by tools/gen_natives.py from src/jni/natives.def; do not edit.\n"
            f"package {PACKAGE};\n\n/** {doc} */\npublic {modifier}class {cls} {{\n{load}{body}\n}}\n")


def write(out_dir, name, content):
    path = os.path.join(out_dir, name)
    if os.path.exists(path) and open(path, encoding="utf-8").read() == content:
        return
    with open(path, "w", encoding="utf-8") as f:
        f.write(content)


CPP_HEAD = """// Generated by tools/gen_natives.py from src/jni/natives.def and orvel.h; do not edit.
// Plain forwarders: convert the arguments, call the one engine function, convert the result.
#include "jni/jni_support.h"

extern "C" {

"""
SIG_HEAD = """# The native methods of liborvel bound to COM.orvel.OAPI.Native (generated).
# Java signature, origin (plain: generated forwarder; hand: written by hand), C function.
"""

if __name__ == "__main__":
    if len(sys.argv) != 5:
        print(__doc__)
        sys.exit(2)
    os.makedirs(sys.argv[4], exist_ok=True)
    generate(*sys.argv[1:5])
