#!/usr/bin/env python3
"""Progress of the C API and of the Java binding.

Reads the table of native methods (src/jni/natives.def), checks it (names
derive from their C functions, no duplicates, the family sizes), and reports
per family how many of the wrapped C functions orvel.h declares and how many
natives the library exports. Fails when a declared function is not exported
by the library, when a declared function of the table is exported without its
native (once the library exports natives at all), when the library exports a
native the table does not list, or when the table is malformed.

usage: api_status.py NATIVES_DEF ORVEL_H LIBORVEL_SO [--missing]
       api_status.py --self-test
"""
import re
import subprocess
import sys

ABBREVIATIONS = sorted("CC JT DS KB NB HNB DBN BK EM AIC BIC MAP IJT JMI CG SAS CSV IEM".split(),
                       key=len, reverse=True)
KINDS = {"api", "alias", "internal", "binding", "license"}
# Natives per family; the License family has two more on the second class.
FAMILY_SIZES = {
    "Domain": 142, "Node": 135, "DataSet": 39, "Table": 22, "JunctionTree": 16, "Class": 12,
    "Model": 11, "ClassCollection": 10, "Expression": 14, "Clique": 7, "StructureLearning": 12,
    "Lists": 4, "Attributes": 3, "Errors": 7, "License": 12,
}
TOTAL = 446
SECOND_CLASS = 2


def c_name(java_name):
    """orv_ plus the snake-case words of a Java method name (without "orv")."""
    words, i = [], 0
    while i < len(java_name):
        for abbreviation in ABBREVIATIONS:
            end = i + len(abbreviation)
            if java_name.startswith(abbreviation, i) and (end == len(java_name) or not java_name[end].islower()):
                words.append(abbreviation.lower())
                i = end
                break
        else:
            match = re.match(r"[A-Z]+(?=[A-Z][a-z]|[0-9]|$)|[A-Z][a-z0-9]*|[0-9]+", java_name[i:])
            if not match:
                return None
            words.append(match.group(0).lower())
            i += len(match.group(0))
    return "orv_" + "_".join(words)


def read_natives(path):
    natives, errors = [], []
    pattern = re.compile(r"^ORV_NATIVE(2?)\(\s*(\w+)\s*,\s*(\w+)\s*,\s*(\w+)\s*,\s*(\w+)\s*\)\s*$")
    for number, line in enumerate(open(path, encoding="utf-8"), 1):
        if not line.startswith("ORV_NATIVE(") and not line.startswith("ORV_NATIVE2("):
            continue
        match = pattern.match(line)
        if not match:
            errors.append(f"{path}:{number}: malformed entry: {line.strip()}")
            continue
        second, family, java, function, kind = match.groups()
        natives.append(dict(line=number, second=bool(second), family=family, java=java,
                            function=function, kind=kind))
    return natives, errors


def check_table(natives):
    errors, seen = [], {}
    for n in natives:
        where = f"line {n['line']}: {n['java']}"
        key = (n["second"], n["java"])
        if key in seen:
            errors.append(f"{where}: duplicate of line {seen[key]}")
        seen[key] = n["line"]
        derived = c_name(n["java"])
        kind, function = n["kind"], n["function"]
        if kind not in KINDS:
            errors.append(f"{where}: unknown kind {kind}")
        elif kind == "api" and function != derived:
            errors.append(f"{where}: wraps {function}, but its name derives {derived}")
        elif kind == "alias" and (not function.startswith("orv_") or function == derived):
            errors.append(f"{where}: an alias must name another orv_ function than {derived}")
        elif kind == "internal" and not function.startswith("_orv_"):
            errors.append(f"{where}: an internal function starts with _orv_")
        elif kind in ("binding", "license") and function != "none":
            errors.append(f"{where}: {kind} natives wrap no function (none)")
        if n["family"] not in FAMILY_SIZES:
            errors.append(f"{where}: unknown family {n['family']}")
    for family, size in FAMILY_SIZES.items():
        count = sum(1 for n in natives if n["family"] == family)
        if count != size:
            errors.append(f"family {family}: {count} natives, expected {size}")
    if len(natives) != TOTAL:
        errors.append(f"{len(natives)} natives, expected {TOTAL}")
    if sum(1 for n in natives if n["second"]) != SECOND_CLASS:
        errors.append(f"expected {SECOND_CLASS} natives on the second class")
    return errors


def declared_functions(header):
    text = open(header, encoding="utf-8").read()
    return set(re.findall(r"ORV_API[^(;]*?\b(orv_\w+)\s*\(", text))


def exported_functions(library):
    out = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True,
                         text=True).stdout
    return {line.split()[-1] for line in out.splitlines() if line.split()}


JNI_PREFIXES = {False: "Java_COM_orvel_OAPI_Native_AbstractNativeOAPI_orv",
                True: "Java_COM_orvel_OAPI_Native_NativeOAPI2_orv"}


def exported_natives(exported):
    """(second class, java name) of every exported JNI symbol."""
    found = set()
    for symbol in exported:
        for second, prefix in JNI_PREFIXES.items():
            if symbol.startswith(prefix):
                found.add((second, symbol[len(prefix):]))
    return found


def self_test():
    """The checker itself: derivations, and a broken table is refused."""
    pairs = {"DomainGetAIC": "orv_domain_get_aic", "JTGetRoot": "orv_jt_get_root",
             "DomainCGEvidenceIsPropagated": "orv_domain_cg_evidence_is_propagated",
             "DSToCSVString": "orv_ds_to_csv_string", "DomainGetDConnectedNodes": "orv_domain_get_d_connected_nodes",
             "DomainLearnStructureNPC": "orv_domain_learn_structure_npc", "INFINITY": "orv_infinity",
             "NodeGetSensitivityConstants2": "orv_node_get_sensitivity_constants2"}
    failures = [f"{java} -> {c_name(java)}, expected {c}" for java, c in pairs.items() if c_name(java) != c]
    symbols = {"Java_COM_orvel_OAPI_Native_AbstractNativeOAPI_orvNodeGetBelief",
               "Java_COM_orvel_OAPI_Native_NativeOAPI2_orvRestrictionAllowGui", "orv_node_get_belief"}
    if exported_natives(symbols) != {(False, "NodeGetBelief"), (True, "RestrictionAllowGui")}:
        failures.append(f"exported natives misread: {exported_natives(symbols)}")
    good = dict(line=1, second=False, family="Lists", java="NewList", function="orv_new_list", kind="api")
    broken = [good, dict(good, line=2), dict(good, line=3, java="ListGetItem", function="orv_list_get_items")]
    messages = check_table(broken)
    for expected in ("duplicate of line 1", "but its name derives orv_list_get_item", "family Lists: 3 natives"):
        if not any(expected in m for m in messages):
            failures.append(f"a broken table is not refused with: {expected}")
    for failure in failures:
        print("self-test: " + failure)
    print("self-test: " + ("failed" if failures else "passed"))
    return 1 if failures else 0


def main(argv):
    if argv[1:] == ["--self-test"]:
        return self_test()
    if len(argv) < 4:
        print(__doc__)
        return 2
    natives, errors = read_natives(argv[1])
    errors += check_table(natives)
    declared = declared_functions(argv[2])
    exported = exported_functions(argv[3])
    for function in sorted(declared - exported):
        errors.append(f"{function} is declared in orvel.h but not exported")

    natives_exported = exported_natives(exported)
    binding = bool(natives_exported)
    listed = {(n["second"], n["java"]) for n in natives}
    for second, java in sorted(natives_exported - listed):
        errors.append(f"native orv{java} is exported but not in the table")

    wrapping = [n for n in natives if n["kind"] in ("api", "alias")]
    print(f"{'family':<18} {'declared':>8} / {'wrapped':<7} {'natives':>7} / {'all':<4}  (of {len(natives)} natives: "
          f"{len(wrapping)} wrap a C API function)")
    total = bound_total = 0
    for family in FAMILY_SIZES:
        members = [n for n in wrapping if n["family"] == family]
        have = [n for n in members if n["function"] in declared]
        everyone = [n for n in natives if n["family"] == family]
        bound = [n for n in everyone if (n["second"], n["java"]) in natives_exported]
        total += len(have)
        bound_total += len(bound)
        print(f"{family:<18} {len(have):>8} / {len(members):<7} {len(bound):>7} / {len(everyone):<4}")
        if binding:
            for n in have:
                if (n["second"], n["java"]) not in natives_exported:
                    errors.append(f"{n['function']} is exported without its native orv{n['java']}")
        if "--missing" in argv:
            missing = [n["function"] for n in members if n["function"] not in declared]
            if missing:
                print("    missing: " + " ".join(missing))
    others = {n["kind"]: sum(1 for m in natives if m["kind"] == n["kind"]) for n in natives
              if n["kind"] not in ("api", "alias")}
    print(f"{'total':<18} {total:>8} / {len(wrapping):<7} {bound_total:>7} / {len(natives):<4}  "
          + ", ".join(f"{count} {kind}" for kind, count in sorted(others.items())))
    for error in errors:
        print("error: " + error)
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
