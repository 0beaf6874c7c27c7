#!/bin/sh
# exported-names.sh LIBRARY: fails where the library exports a name that is neither its own nor an instance of the
# standard library's templates nor fixed by Java, or that has a third party's type in it.
set -eu
names=$(nm -DC --defined-only "$1" | cut -c20-)
foreign=$(echo "$names" | grep -vE '\b(norq_std|norq_std_internal|NorqStd|std|__gnu_cxx)::' |
    grep -vE '^(JNI_OnLoad|Java_com_vantrell_.*)$|\bJniPreferenceChangeListener(Container)?\b' || true)
third=$(echo "$names" | grep -E '\b(boost|icu(_[0-9]+)?|xercesc(_[0-9_]+)?)::' || true)
[ -z "$foreign$third" ] || { printf 'exported, and not ours:\n%s\n' "$foreign$third" >&2; exit 1; }
