#!/usr/bin/env bash
# Installs the built tree, looks at what was installed, and uses it as a stranger would: every
# complete program of the documentation is built against it, run, and compared with the output
# printed below it.
set -euo pipefail

source_dir=$1 build_dir=$2 compiler=$3 cmake=$4 generator=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/moved/prefix

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    exit 1
}

# Moved after the installation: nothing may remember where it was.
"$cmake" --install "$build_dir" --prefix "$work/first" >/dev/null
mkdir "$work/moved"
mv "$work/first" "$prefix"

cd "$prefix/include"
find . -path '*/detail*' | grep . && fail 'private headers were installed'
headers=$(find trelis -name '*.h' | sort)
printf '%s\n' $headers | xargs -P "$(nproc)" -I{} sh -c \
    'echo "#include <{}>" | '"'$compiler'"' -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I. -x c++ - ||
        { echo "{} does not compile on its own"; exit 1; }' || fail 'see the header above'
for header in $headers; do
    [[ $header == trelis/trelis.h ]] || grep -qF "<$header>" trelis/trelis.h ||
        fail "trelis/trelis.h does not include <$header>"
done
cd "$work"

pkgconfig=$(dirname "$(find "$prefix" -name trelis.pc)")
grep -rEn -- '-(W[a-z]|ffp|fsanitize)' "$pkgconfig" "$pkgconfig/../cmake" &&
    fail 'flags of this build reach the consumer'

mkdir programs
cp "$source_dir"/tests/install/consumer/smoke.* programs
for page in "$source_dir"/README.md "$source_dir"/docs/*.md; do
    [[ -f $page ]] || continue
    awk -v out=programs -v name="$(basename "$page" .md)" \
        -f "$source_dir/tests/install/snippets.awk" "$page"
done
"$cmake" -S "$source_dir/tests/install/consumer" -B build -G "$generator" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix" -DPROGRAMS="$work/programs" \
    >log 2>&1 || fail "a consumer cannot be configured: $(cat log)"
"$cmake" --build build >log 2>&1 || fail "a program does not build: $(cat log)"

link=$([[ -f $pkgconfig/../libtrelis.a ]] && echo --static || true)
"$compiler" -std=c++20 programs/smoke.cpp -o build/smoke_pkgconfig \
    $(PKG_CONFIG_PATH=$pkgconfig pkg-config --cflags --libs $link trelis) \
    -Wl,-rpath,"$pkgconfig/.."
cp programs/smoke.cpp programs/smoke_pkgconfig.cpp
cp programs/smoke.expected programs/smoke_pkgconfig.expected

count=0
for program in programs/*.cpp; do
    name=$(basename "$program" .cpp)
    timeout 60 "build/$name" >output || fail "$name ended with $?"
    if [[ -f programs/$name.expected ]]; then
        diff -u "programs/$name.expected" output || fail "$name prints other than documented"
    fi
    count=$((count + 1))
done
echo "$(wc -w <<<"$headers") headers and $count programs"
