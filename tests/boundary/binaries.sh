#!/bin/bash
# What the compiled library offers, asks for and holds.
#
#   binaries.sh exports|dependencies|objects LIBRARY SONAME OBJECT_LIST CONFIG
set -euo pipefail
export LC_ALL=C
question=$1 library=$2 soname=$3 object_list=$4 config=$5
nm=${NM:-nm} readelf=${READELF:-readelf} objdump=${OBJDUMP:-objdump}
failed=0

# same WHAT GOT WANTED
same() {
    if [ "$2" != "$3" ]; then
        printf '%s\n  got:    %s\n  wanted: %s\n' "$1" "${2//$'\n'/ }" "${3//$'\n'/ }"
        failed=1
    fi
}

case $question in
exports)
    # Six functions and the name of their version; nothing else, no data.
    got=$("$nm" -D --defined-only --without-symbol-versions "$library" | awk '{ print $2, $3 }' | sort)
    same "symbols that the library exports" "$got" "A TALV_0
T TALV_CodecClose
T TALV_CodecOpen
T TALV_DecodeInit
T TALV_EncodeInit
T TALV_SpeechDecode
T TALV_SpeechEncode"
    ;;

dependencies)
    got=$("$readelf" -dW "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
    same "soname" "$got" "$soname"
    # The C library, and nothing that has to do with C++. The loader itself may be named too.
    while read -r needed; do
        case $needed in
        libc.so.6 | libm.so.6 | ld-linux*.so.*) ;;
        *) same "a library that it asks for" "$needed" "libc.so.6, libm.so.6 or the loader" ;;
        esac
    done < <("$readelf" -dW "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
    # What it takes from the C library: memory, output and nothing else that could fail, lock or remember.
    got=$("$nm" -D --undefined-only --without-symbol-versions "$library" | awk '$1 == "U" { print $2 }' | sort)
    for symbol in $got; do
        case $symbol in
        calloc | free | printf | __printf_chk | fputs | fwrite | puts | putchar | stdout) ;;
        memcpy | memmove | memset | memcmp | __memcpy_chk | __memmove_chk | __memset_chk | __stack_chk_fail) ;;
        sqrt | sqrtf | __x86_get_cpuid_feature_leaf) ;;
        *) same "an outside function" "$symbol" "one of memory, output, copying, the square root and the processor's features" ;;
        esac
    done
    ;;

objects)
    mapfile -t objects < <(grep . "$object_list")
    # Writable data of any kind, thread-local too, and code that runs at loading. Tables of addresses that are written
    # once by the loader (.data.rel.ro) are constants.
    got=$("$objdump" -h "${objects[@]}" | awk '/file format/ { object = $1 }
        $1 ~ /^[0-9]+$/ && $3 !~ /^0+$/ && $2 ~ /^\.(data|bss|tdata|tbss|init_array|fini_array|ctors|dtors)(\.|$)/ &&
        $2 !~ /^\.data\.rel\.ro(\.|$)/ { print object, $2 }')
    same "writable data or code at loading" "$got" ""
    # Nothing of the C++ runtime: exceptions, guards of statics, operators new and delete, type information.
    got=$("$nm" -A --undefined-only "${objects[@]}" |
        grep -E ' (__cxa|__gxx|_Unwind|_Zn|_Zd|_ZTI|_ZTV|_ZSt)[^ ]*$' || true)
    same "what is asked of the C++ runtime" "$got" ""
    # A routine that the linker may take from either copy of the blocks could run on a processor that lacks its
    # instructions; those in a copy's own namespace cannot be mistaken. Without optimisation nothing is inlined, and there
    # are many of them: such a library is for the machine it was built on.
    if [ "$config" != Debug ]; then
        got=$("$nm" -AC "${objects[@]}" | grep -E ' W ' | grep -vE ' W (.* )?talv::(baseline|avx2)::' || true)
        same "routines shared with other objects" "$got" ""
    fi
    if [ "${#objects[@]}" -lt 10 ]; then
        echo "only ${#objects[@]} objects in $object_list"
        failed=1
    fi
    ;;

*)
    echo "binaries.sh: no such question: $question"
    exit 2
    ;;
esac
exit "$failed"
