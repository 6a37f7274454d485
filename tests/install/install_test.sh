#!/usr/bin/env bash
# Installs the build tree into a temporary prefix and uses it the way an application developer
# does: every installed header compiles on its own, the installed programs start from the
# prefix, and the examples build as an outside project (find_package, then a plain compiler
# command line with pkg-config) and publish and read back through a private host store. The
# programs of outside/ build both ways as well: one uses every declaration of the installed
# library headers (so each must be exported), one reads a document and walks the tree.
set -u
cmake=$1 build=$2 libdir=$3 version=$4 examples=$5 cxx=$6 cc=$7 outside=$8
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail() { echo "FAIL: $*"; exit 1; }
prefix=$tmp/prefix
lib=$prefix/$libdir
export PELMO_LOG_LEVEL=none

"$cmake" --install "$build" --prefix "$prefix" > "$tmp/install.log" 2>&1 || fail "install: $(cat "$tmp/install.log")"

# --- What is in place --------------------------------------------------------------------
for f in "$lib/libpelmo-api.so" "$lib/libpelmo.so" "$lib/libpelmo-dlog.so" "$lib/libpelmo-appfw.so" \
         "$prefix/bin/pelmo-service" "$prefix/bin/pelmoctl" "$prefix/bin/pelmo-host-store" \
         "$prefix/include/pelmo-api/PelmoAPI.h" "$prefix/include/pelmo-api/pelmo_service_gdbus_generated.h" \
         "$prefix/include/pelmo-host/dlog.h" "$prefix/include/pelmo-host/app_common.h" \
         "$prefix/include/pelmo-host/pelmo/TilesModel.h" "$lib/pkgconfig/pelmo-api.pc" \
         "$lib/cmake/PelmoApi/PelmoApiConfig.cmake" "$lib/cmake/PelmoApi/PelmoApiConfigVersion.cmake" \
         "$prefix/share/dbus-1/system.d/org.orvik.pelmo_service.conf" \
         "$prefix/lib/systemd/system/pelmo-service.service" "$prefix/lib/sysusers.d/pelmo-service.conf" \
         "$prefix/share/dbus-1/system-services/org.orvik.Feltrix.dbus.service" \
         "$prefix/share/dbus-1/system-services/org.orvik.pelmo_provider.dbus.service"; do
  [ -e "$f" ] || fail "not installed: ${f#$prefix/}"
done
# The unit and both activation files start the program of this prefix, as the user pelmo.
grep -q "^ExecStart=$prefix/bin/pelmo-service " "$prefix/lib/systemd/system/pelmo-service.service" ||
  fail "the unit does not start $prefix/bin/pelmo-service"
for n in org.orvik.Feltrix.dbus org.orvik.pelmo_provider.dbus; do
  a=$prefix/share/dbus-1/system-services/$n.service
  grep -q "^Name=$n$" "$a" && grep -q "^User=pelmo$" "$a" && grep -q "^SystemdService=pelmo-service.service$" "$a" &&
    grep -q "^Exec=$prefix/bin/pelmo-service " "$a" || fail "activation file $n.service: $(cat "$a")"
done
if command -v systemd-analyze > /dev/null; then
  systemd-analyze verify "$prefix/lib/systemd/system/pelmo-service.service" > "$tmp/verify.txt" 2>&1 ||
    fail "systemd-analyze verify: $(cat "$tmp/verify.txt")"
  [ ! -s "$tmp/verify.txt" ] || fail "systemd-analyze verify is not clean: $(cat "$tmp/verify.txt")"
else
  echo "note: systemd-analyze not installed; the unit was not verified"
fi
soname=$(readelf -d "$lib/libpelmo-api.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[ "$soname" = "libpelmo-api.so.${version%%.*}" ] || fail "SONAME is '$soname'"
[ -e "$lib/$soname" ] || fail "no $soname in the prefix"
[ -e "$lib/libpelmo-api.so.$version" ] || fail "no libpelmo-api.so.$version in the prefix"

reallib=$(realpath "$lib")
# The installed programs load the installed libraries, found from where they are, and start.
for p in pelmo-service pelmoctl pelmo-host-store; do
  ldd "$prefix/bin/$p" > "$tmp/ldd.txt" 2>&1 || fail "ldd $p: $(cat "$tmp/ldd.txt")"
  if grep -q "not found" "$tmp/ldd.txt"; then fail "$p misses a library: $(grep 'not found' "$tmp/ldd.txt")"; fi
  n=0
  while read -r l path; do
    [ "$(dirname "$(realpath "$path")")" = "$reallib" ] || fail "$p loads $l from outside the prefix: $path"
    n=$((n + 1))
  done < <(sed -n 's/^\s*\(libpelmo[^ ]*\) => \([^ ]*\) .*/\1 \2/p' "$tmp/ldd.txt")
  # The service runs on the library and the host platform libraries (pelmoctl holds its own
  # copy of the library and loads the host ones only as far as it uses them).
  [ "$p" != pelmo-service ] || [ "$n" -ge 3 ] || fail "$p loads only $n of the project's libraries: $(cat "$tmp/ldd.txt")"
  "$prefix/bin/$p" --help > "$tmp/help.txt" 2>&1 || fail "$p --help failed: $(cat "$tmp/help.txt")"
  grep -q "usage: $p" "$tmp/help.txt" || fail "$p printed no usage: $(cat "$tmp/help.txt")"
done

# --- pkg-config --------------------------------------------------------------------------
export PKG_CONFIG_PATH=$lib/pkgconfig
[ "$(pkg-config --modversion pelmo-api)" = "$version" ] || fail "pkg-config version $(pkg-config --modversion pelmo-api)"
cflags=$(pkg-config --cflags pelmo-api) || fail "pkg-config --cflags"
libs=$(pkg-config --libs pelmo-api) || fail "pkg-config --libs"
pc_libdir=$(pkg-config --variable=libdir pelmo-api)
[ "$(cd "$pc_libdir" && pwd -P)" = "$(cd "$lib" && pwd -P)" ] || fail "the .pc file names $pc_libdir, not the prefix"

# Every installed header compiles alone; the C headers compile as C too.
(cd "$prefix/include" && find pelmo-api pelmo-host -name '*.h') > "$tmp/headers.txt"
[ "$(wc -l < "$tmp/headers.txt")" -ge 12 ] || fail "too few headers installed: $(cat "$tmp/headers.txt")"
while read -r h; do
  rel=${h#pelmo-api/}; rel=${rel#pelmo-host/}
  echo "#include <$rel>" > "$tmp/one.cpp"
  # shellcheck disable=SC2086
  "$cxx" -std=c++17 -fsyntax-only -Wall -Wextra $cflags "$tmp/one.cpp" 2> "$tmp/cc.txt" \
    || fail "$h does not compile alone: $(cat "$tmp/cc.txt")"
  case $rel in
    dlog.h|dlog_host.h|dlog_source_line.h|app_common.h|pelmo_service_gdbus_generated.h)
      cp "$tmp/one.cpp" "$tmp/one.c"
      # shellcheck disable=SC2086
      "$cc" -std=c11 -fsyntax-only $cflags "$tmp/one.c" 2> "$tmp/cc.txt" \
        || fail "$h does not compile alone as C: $(cat "$tmp/cc.txt")";;
  esac
done < "$tmp/headers.txt"
# The library's installed headers are its public folder in the tree and the generated binding,
# nothing more and nothing less.
src=$(cd "$examples/.." && pwd)
{ (cd "$src/include" && find pelmo-api -name '*.h'); echo pelmo-api/pelmo_service_gdbus_generated.h; } |
  sort > "$tmp/public.txt"
grep '^pelmo-api/' "$tmp/headers.txt" | sort > "$tmp/installed.txt"
cmp -s "$tmp/public.txt" "$tmp/installed.txt" ||
  fail "installed library headers differ from include/pelmo-api: $(diff "$tmp/public.txt" "$tmp/installed.txt")"

# --- The examples as an outside project through find_package --------------------------------
"$cmake" -S "$examples" -B "$tmp/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo > "$tmp/configure.log" 2>&1 || fail "configure: $(cat "$tmp/configure.log")"
"$cmake" --build "$tmp/cmake-build" -j 2 > "$tmp/build.log" 2>&1 || fail "build: $(cat "$tmp/build.log")"
loaded=$(ldd "$tmp/cmake-build/consumer/pelmo-consumer-example" | sed -n 's/^\s*libpelmo-api\.so[^ ]* => \([^ ]*\) .*/\1/p')
[ -n "$loaded" ] && [ "$(dirname "$(realpath "$loaded")")" = "$reallib" ] \
  || fail "the example does not load the installed library: $(ldd "$tmp/cmake-build/consumer/pelmo-consumer-example")"

"$prefix/bin/pelmo-host-store" --db "$tmp/cmake.db" --log "$tmp/cmake-requests.log" -- \
  "$tmp/cmake-build/consumer/pelmo-consumer-example" org.example.cmake > "$tmp/cmake-out.txt" 2> "$tmp/cmake-err.txt"
rc=$?
[ "$rc" = 0 ] || fail "example (find_package) exit $rc: $(cat "$tmp/cmake-out.txt" "$tmp/cmake-err.txt")"
grep -q "^registered org.example.cmake$" "$tmp/cmake-out.txt" || fail "not registered: $(cat "$tmp/cmake-out.txt")"
grep -q '"tile_title" : "Salt Roads"' "$tmp/cmake-out.txt" || fail "tile not read back: $(cat "$tmp/cmake-out.txt")"
grep -q "^read back 1 section(s), 2 tile(s)$" "$tmp/cmake-out.txt" || fail "wrong read-back: $(cat "$tmp/cmake-out.txt")"
grep -q "insert_bulk module=org.example.cmake ok rows=2" "$tmp/cmake-requests.log" \
  || fail "the tiles did not reach the store: $(cat "$tmp/cmake-requests.log")"

# The demo of the main job, built the same way: a publish and the change after it.
"$prefix/bin/pelmo-host-store" --db "$tmp/demo.db" -- "$tmp/cmake-build/publish/pelmo-preview-demo" org.example.player \
  "$examples/previews/first.json" "$examples/previews/changed.json" > "$tmp/demo-out.txt" 2> /dev/null \
  || fail "demo failed: $(cat "$tmp/demo-out.txt")"
[ "$(grep -c '^== publish .*: ok$' "$tmp/demo-out.txt")" = 2 ] || fail "demo publishes: $(cat "$tmp/demo-out.txt")"

# --- The same program through pkg-config on a plain compiler command line -----------------
# shellcheck disable=SC2086
"$cxx" -std=c++17 "$examples/consumer/PreviewConsumer.cpp" $cflags $libs -Wl,-rpath,"$pc_libdir" \
  -o "$tmp/pkgconfig-example" 2> "$tmp/cc.txt" || fail "pkg-config build: $(cat "$tmp/cc.txt")"
"$prefix/bin/pelmo-host-store" --db "$tmp/pc.db" --log "$tmp/pc-requests.log" -- \
  "$tmp/pkgconfig-example" org.example.pc "$examples/previews/small.json" > "$tmp/pc-out.txt" 2> "$tmp/pc-err.txt"
rc=$?
[ "$rc" = 0 ] || fail "example (pkg-config) exit $rc: $(cat "$tmp/pc-out.txt" "$tmp/pc-err.txt")"
grep -q '"tile_title" : "The Lighthouse Keeper"' "$tmp/pc-out.txt" || fail "tile not read back: $(cat "$tmp/pc-out.txt")"
grep -q "^read back 1 section(s), 1 tile(s)$" "$tmp/pc-out.txt" || fail "wrong read-back: $(cat "$tmp/pc-out.txt")"
grep -q "insert module=org.example.pc ok" "$tmp/pc-requests.log" || fail "no insert logged: $(cat "$tmp/pc-requests.log")"

# --- Every installed declaration, and the preview reader, from outside ----------------------
# The binding header is generated: take the address of every function it exports, as a C file.
binding=$prefix/include/pelmo-api/pelmo_service_gdbus_generated.h
grep -A1 '^PELMO_API$' "$binding" | grep -o 'org_orvik_pelmo_service_[a-z_]*' > "$tmp/binding-names.txt"
nbinding=$(wc -l < "$tmp/binding-names.txt")
[ "$nbinding" -ge 10 ] && [ "$nbinding" = "$(grep -c '^PELMO_API$' "$binding")" ] \
  || fail "cannot list the binding's functions: $(cat "$tmp/binding-names.txt")"
{
  echo '#include <pelmo_service_gdbus_generated.h>'
  echo "const int kBindingFunctionCount = $nbinding;"
  echo 'const void* const kBindingFunctions[] = {'
  sed 's/.*/    (const void*)\&&,/' "$tmp/binding-names.txt"
  echo '};'
} > "$tmp/binding-refs.c"

check_outside() {  # $1 = how it was built, $2 = folder of the two programs
  "$2/every-declaration" > "$tmp/every.txt" 2>&1 || fail "every-declaration ($1): $(cat "$tmp/every.txt")"
  for want in "envelope has where_args: 7" "locked: 1" "unlocked: 1" "found 1 1" "integer 42, limit 300" \
              "written: yes, json id 42" "binding functions: $nbinding, referenced: $((nbinding + 16))" \
              "store org.orvik.Feltrix.dbus, provider org.orvik.pelmo_provider.dbus, object /org/orvik/pelmo_service, interface org.orvik.pelmo_service"; do
    grep -qF "$want" "$tmp/every.txt" || fail "every-declaration ($1) did not print '$want': $(cat "$tmp/every.txt")"
  done
  "$2/model-walk" org.example.outside "$examples/previews/small.json" > "$tmp/walk.txt" 2>&1 \
    || fail "model-walk ($1): $(cat "$tmp/walk.txt")"
  for want in "section 0: Continue watching key " "  tile 0: The Lighthouse Keeper | app_launch key " \
              "1 section(s), 1 tile(s)" "built: By hand / Built"; do
    grep -qF "$want" "$tmp/walk.txt" || fail "model-walk ($1) did not print '$want': $(cat "$tmp/walk.txt")"
  done
  ! grep -q "key 0000000000000000" "$tmp/walk.txt" || fail "model-walk ($1) found no content key: $(cat "$tmp/walk.txt")"
  # The reader's refusal reaches an outside program as a result, not a crash.
  echo '{"sections":[{"section_title":["no"]}]}' > "$tmp/refused.json"
  "$2/model-walk" org.example.outside "$tmp/refused.json" > "$tmp/walk.txt" 2>&1 && fail "model-walk ($1) read a refused document"
  grep -q "^refused$" "$tmp/walk.txt" || fail "model-walk ($1) on a refused document: $(cat "$tmp/walk.txt")"
}

"$cmake" -S "$outside" -B "$tmp/outside-build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_C_COMPILER="$cc" -DPELMO_BINDING_REFS="$tmp/binding-refs.c" > "$tmp/configure.log" 2>&1 \
  || fail "configure outside/: $(cat "$tmp/configure.log")"
"$cmake" --build "$tmp/outside-build" -j 2 > "$tmp/build.log" 2>&1 || fail "build outside/ (find_package): $(cat "$tmp/build.log")"
check_outside find_package "$tmp/outside-build"

mkdir -p "$tmp/outside-pc"
# shellcheck disable=SC2086
"$cc" -std=c11 -c "$tmp/binding-refs.c" $cflags -o "$tmp/outside-pc/binding-refs.o" 2> "$tmp/cc.txt" \
  || fail "pkg-config build of the binding references: $(cat "$tmp/cc.txt")"
for program in every-declaration:EveryDeclaration.cpp:"$tmp/outside-pc/binding-refs.o" model-walk:ModelWalk.cpp:; do
  IFS=: read -r name source extra <<< "$program"
  # shellcheck disable=SC2086
  "$cxx" -std=c++17 "$outside/$source" $extra $cflags $libs -Wl,-rpath,"$pc_libdir" -o "$tmp/outside-pc/$name" \
    2> "$tmp/cc.txt" || fail "pkg-config build of $name: $(cat "$tmp/cc.txt")"
done
check_outside pkg-config "$tmp/outside-pc"

# A program that is not registered with a store is told so and fails, with no store at all.
DBUS_SYSTEM_BUS_ADDRESS=unix:path=$tmp/no-bus "$tmp/pkgconfig-example" org.example.pc > /dev/null 2> "$tmp/nobus.txt" \
  && fail "the example succeeded without a store"
grep -q "refused to register" "$tmp/nobus.txt" || fail "no reason given without a store: $(cat "$tmp/nobus.txt")"
# The installed pelmoctl starts its own host store from the prefix (pelmo-service beside it),
# one process per command, on a state folder that keeps the store between them.
ctl=$prefix/bin/pelmoctl
"$ctl" --host "$tmp/state" register org.example.ctl --title Ctl > "$tmp/ctl.txt" 2>&1 \
  || fail "installed pelmoctl register: $(cat "$tmp/ctl.txt")"
"$ctl" --host "$tmp/state" publish org.example.ctl "$examples/previews/first.json" > "$tmp/ctl.txt" 2>&1 \
  || fail "installed pelmoctl publish: $(cat "$tmp/ctl.txt")"
grep -q "^tiles: 7 inserted" "$tmp/ctl.txt" || fail "publish counts: $(cat "$tmp/ctl.txt")"
"$ctl" --host "$tmp/state" get org.example.ctl > "$tmp/ctl.txt" 2>&1 || fail "installed pelmoctl get: $(cat "$tmp/ctl.txt")"
grep -q "The Lighthouse Keeper" "$tmp/ctl.txt" || fail "get did not read the preview back: $(cat "$tmp/ctl.txt")"
echo "ok"
