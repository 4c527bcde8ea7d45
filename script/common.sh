# shellcheck shell=bash
# What ./check and ./demo share: saying what happens and how far it is, running a command into a log while
# its progress shows, and building one preset with one compiler. Source it from the root of the tree.

startTime=$SECONDS

# in_minutes SECONDS: the time as minutes:seconds.
in_minutes()
{
    printf '%d:%02d' $(($1 / 60)) $(($1 % 60))
}

# The time since the script began.
elapsed()
{
    in_minutes $((SECONDS - startTime))
}

# Prints the last line of a growing log: every second on a terminal, else once a minute. Runs until killed.
report_progress()
{
    local log=$1 ticks=0
    while sleep 1 >/dev/null 2>&1; do
        ticks=$((ticks + 1))
        if [[ -t 1 ]]; then
            printf '\r\033[K    %.100s' "$(tail -n 1 "$log" 2>/dev/null)"
        elif ((ticks % 60 == 0)); then
            printf '    (%s) %.100s\n' "$(elapsed)" "$(tail -n 1 "$log" 2>/dev/null)"
        fi
    done
}

# run_logged LOG COMMAND...: everything the command prints goes to LOG; its exit code is ours.
run_logged()
{
    local log=$1 watcher status
    shift
    mkdir -p "$(dirname "$log")"
    : >"$log"
    report_progress "$log" &
    watcher=$!
    "$@" >"$log" 2>&1 </dev/null
    status=$?
    kill "$watcher" 2>/dev/null
    wait "$watcher" 2>/dev/null
    if [[ -t 1 ]]; then
        printf '\r\033[K'
    fi
    return "$status"
}

# Shows what matters of a failed command's log: from the first error on, or else its end.
show_log()
{
    local log=$1 lines=150 first
    first=$(grep -n -m 1 -E '^FAILED: |: (fatal )?error: |^CMake Error|^E: ' "$log" | cut -d : -f 1)
    echo "    ---- $log"
    if [[ -n $first ]]; then
        tail -n "+$first" "$log" | head -n "$lines" | sed 's/^/    /'
    else
        tail -n "$lines" "$log" | sed 's/^/    /'
    fi
    echo "    ----"
}

# Where the scripts build a preset with a compiler; presets used by hand build in build/PRESET.
build_folder()
{
    echo "build/$1-$2"
}

# build_preset PRESET COMPILER [CMAKE ARGUMENT...]: configures and builds everything, all cores.
build_preset()
{
    local preset=$1 compiler=$2 folder
    shift 2
    folder=$(build_folder "$preset" "$compiler")
    cmake --preset "$preset" -B "$folder" -DCMAKE_CXX_COMPILER="$compiler" "$@" &&
        cmake --build "$folder" --parallel "$(nproc)"
}

# debian_sources TYPE: a line of a list of sources, as TYPE (deb or deb-src), for the main component of each
# archive of Debian that this machine's apt reads. The machine's own lists stay as they are.
debian_sources()
{
    local uri release
    # shellcheck disable=SC2016 # apt expands these
    apt-get indextargets --format '$(ORIGIN) $(COMPONENT) $(REPO_URI) $(RELEASE)' 'Created-By: Packages' |
        sed -n 's/^Debian main //p' | sort -u | while read -r uri release; do
        echo "$1 [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $uri $release main"
    done
}
