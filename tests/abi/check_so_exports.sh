#!/bin/sh
# Lists the library's defined dynamic symbols and compares them with the
# interface: the two exports and DslrObject's type information.
set -eu
actual=$(nm -D --defined-only "$1" | awk '{print $3}' | c++filt | sort)
expected=$(printf '%s\n' DSLR_DeleteObject DSLR_GetObject 'DslrObject::DeletingDestructor(unsigned int)' \
  'typeinfo for DslrObject' 'typeinfo name for DslrObject' 'vtable for DslrObject' | sort)
if [ "$actual" != "$expected" ]; then
  printf 'unexpected dynamic symbols:\n%s\n' "$actual"
  exit 1
fi
echo "exports: $(echo "$actual" | tr '\n' ';')"
