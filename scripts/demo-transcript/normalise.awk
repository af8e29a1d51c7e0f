# Gives names to what differs from run to run in what the peer shows of a real debuggee: addresses,
# numbers of processes and threads, values of registers. What may happen at any time, or not at all, is
# left out, and so is who called main.

/^\* (thread-started|thread-ended|module-loaded): / { next }

/^> / { in_main = 0; print; next }

/^#/ {
    if (in_main) {
        next
    }
    in_main = / main(\+|$)/
}

# A thread that is anywhere but in a function of the debuggee's.
/^[0-9]+ .*stopped at / && !/debuggee_/ { $0 = "TID elsewhere" }
/^[0-9]+ .*stopped at / { sub(/^[0-9]+/, "TID") }

/^ *[a-z0-9]+=[0-9a-f]+/ { gsub(/=[0-9a-f]+/, "=VALUE") }
/^[0-9a-f]+  [0-9a-f][0-9a-f] / { sub(/^[0-9a-f]+/, "ADDRESS") }

{
    gsub(/process [0-9]+/, "process PID")
    gsub(/thread [0-9]+/, "thread TID")
    gsub(/\+0x[0-9a-f]+/, "+OFFSET")
    gsub(/0x[0-9a-f][0-9a-f][0-9a-f]+/, "ADDRESS")
    print
}
