# Holds the table of rooms in docs/design.md against the includes of the sources.
#
#     awk -f scripts/rooms.awk docs/design.md $(find src include/ztk -name '*.h' -o -name '*.cpp')
#
# Prints a line for each fault and returns 1 if there was one. The table is the one below the heading
# "## Rooms": a room's folder (below src, or include/ztk), what it holds, the rooms it may include.
# A room may only include rooms that stand above it, so that the table as such has no cycle.

BEGIN {
    standard_headers = "algorithm any array atomic barrier bit bitset cassert cctype cerrno cfenv " \
        "cfloat charconv chrono cinttypes climits clocale cmath codecvt compare complex concepts " \
        "condition_variable coroutine csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib cstring " \
        "ctime cuchar cwchar cwctype deque exception execution filesystem format forward_list fstream " \
        "functional future initializer_list iomanip ios iosfwd iostream istream iterator latch limits " \
        "list locale map memory memory_resource mutex new numbers numeric optional ostream queue " \
        "random ranges ratio regex scoped_allocator semaphore set shared_mutex source_location span " \
        "sstream stack stdexcept stop_token streambuf string string_view strstream syncstream " \
        "system_error thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility " \
        "valarray variant vector version"
    count = split(standard_headers, names, " ")
    for (i = 1; i <= count; i++) {
        standard["<" names[i] ">"] = 1
    }
}

function fault(text) {
    print text
    faults++
}

# --- The table

FILENAME == ARGV[1] {
    if (/^## /) {
        in_table = /^## Rooms$/
    }
    if (in_table && /^\| `/) {
        read_room()
    }
    next
}

function read_room(    cells, room, allowed, n, i) {
    split($0, cells, "|")
    room = cells[2]
    gsub(/[` ]/, "", room)
    if (room in rank) {
        fault(FILENAME ":" FNR ": the room " room " stands twice in the table")
    }
    n = split(cells[4], allowed, ",")
    for (i = 1; i <= n; i++) {
        gsub(/[` ]/, "", allowed[i])
        if (allowed[i] == "" || allowed[i] == "-") {
            continue
        }
        if (!(allowed[i] in rank)) {
            fault(FILENAME ":" FNR ": " room " may include " allowed[i] \
                ", which is no room above it: rooms must not include each other in a circle")
        }
        may[room, allowed[i]] = 1
    }
    rank[room] = ++rooms
}

# --- The sources

FNR == 1 {
    if (rooms == 0) {
        fault(ARGV[1] ": no table of rooms below \"## Rooms\"")
        exit
    }
    file = rooted(FILENAME)
    known[file] = FILENAME
    room = folder(file)
    if (!(room in rank)) {
        fault(FILENAME ":1: " room " is no room of the table in " ARGV[1])
    } else {
        used[room] = 1
    }
}

/^[ \t]*#[ \t]*include/ {
    target = $0
    sub(/^[ \t]*#[ \t]*include(_next)?[ \t]*/, "", target)
    if (match(target, /^"[^"]*"/)) {
        read_project_include(substr(target, 2, RLENGTH - 2))
    } else if (match(target, /^<[^>]*>/)) {
        read_system_include(substr(target, 1, RLENGTH))
    } else {
        fault(FILENAME ":" FNR ": what is included is hidden in a macro: " target)
    }
}

# The path by which a source file is included: from src or from include.
function rooted(path) {
    sub(/^.*include\/ztk\//, "ztk/", path) || sub(/^(.*\/)?src\//, "", path)
    return path
}

function folder(path) {
    sub(/\/[^\/]*$/, "", path)
    # The families' headers and those for the platform are one room.
    return path ~ /^ztk(\/|$)/ ? "ztk" : path
}

function read_project_include(path,    target) {
    target = folder(path)
    edges++
    from[edges] = file
    to[edges] = path
    place[edges] = FILENAME ":" FNR
    if (target != room && !((room, target) in may)) {
        fault(FILENAME ":" FNR ": " room " may not include " target " (" path "); see " ARGV[1])
    }
}

function read_system_include(name) {
    if (!(name in standard) && room !~ /^platform(\/|$)/ && file !~ /^ztk\/platform/) {
        fault(FILENAME ":" FNR ": " name \
            " is neither the project's nor the C++ standard library's; that is for src/platform")
    }
}

# --- The whole

END {
    if (rooms > 0) {
        for (i = 1; i <= edges; i++) {
            if (!(to[i] in known)) {
                fault(place[i] ": there is no " to[i] "; write the path from src or include")
            }
            includes[from[i]] = includes[from[i]] " " i
        }
        for (name in known) {
            find_cycle(name)
        }
        for (name in rank) {
            if (!(name in used)) {
                fault(ARGV[1] ": the room " name " has no file")
            }
        }
    }
    exit faults > 0
}

# Follows the includes of one file; state: 1 while it is on the way, 2 when it is done.
function find_cycle(name,    list, n, i) {
    if (state[name] == 2) {
        return
    }
    state[name] = 1
    n = split(includes[name], list, " ")
    for (i = 1; i <= n; i++) {
        if (state[to[list[i]]] == 1) {
            fault(place[list[i]] ": " to[list[i]] " includes this file in turn")
        } else {
            find_cycle(to[list[i]])
        }
    }
    state[name] = 2
}
