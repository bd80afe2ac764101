#!/usr/bin/env bash
# Compares the orv_ symbols exported by liborvel.so with the functions
# declared in orvel.h, in both directions; with the generated list of Java
# natives (natives.txt) also the exported JNI symbols with that list.
set -euo pipefail
lib=$1 header=$2 natives=${3:-}
exported=$(nm -D --defined-only "$lib" | awk '{print $3}' | grep -E '^(_?orv_|Java_)' | sort -u)
declared=$(grep -v '^#' "$header" | grep -oE 'ORV_API[^(]*\('  | grep -oE '[A-Za-z_][A-Za-z0-9_]*\($' | tr -d '(' | sort -u)
other=$(nm -D --defined-only "$lib" | awk '{print $3}' | grep -vE '^(_?orv_|Java_)' | grep -vE '^(_init|_fini|__bss_start|_edata|_end)$' || true)
status=0
if [ -n "$other" ]; then echo "exported but not part of the API:"; echo "$other"; status=1; fi
missing=$(comm -13 <(echo "$exported" | grep -E '^_?orv_') <(echo "$declared"))
extra=$(comm -23 <(echo "$exported" | grep -E '^_?orv_') <(echo "$declared"))
if [ -n "$missing" ]; then echo "declared in orvel.h but not exported:"; echo "$missing"; status=1; fi
if [ -n "$extra" ]; then echo "exported but not declared in orvel.h:"; echo "$extra"; status=1; fi
if [ -n "$natives" ]; then
  # "int orvDomainCompile(long domain)  plain  orv_domain_compile": the class
  # follows from the name (the second class holds the restriction natives).
  want=$(grep -v '^#' "$natives" | awk '{print $2}' | sed 's/(.*//' | while read -r m; do
    case $m in orvRestriction*) echo "Java_COM_orvel_OAPI_Native_NativeOAPI2_$m" ;;
      *) echo "Java_COM_orvel_OAPI_Native_AbstractNativeOAPI_$m" ;; esac; done | sort -u)
  have=$(echo "$exported" | grep -E '^Java_' || true)
  if [ "$want" != "$have" ]; then
    echo "JNI exports differ from the natives list (< listed only, > exported only):"
    diff <(echo "$want") <(echo "$have") || true
    status=1
  fi
elif echo "$exported" | grep -qE '^Java_'; then
  echo "JNI symbols exported but no natives list given"; status=1
fi
[ $status -eq 0 ] && echo "exports match: $(echo "$declared" | wc -l) functions${natives:+, $(echo "$want" | wc -l) natives}"
exit $status
