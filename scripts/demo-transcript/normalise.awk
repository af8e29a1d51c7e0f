# Gives names to what differs from run to run in what the peer shows of a real debuggee: addresses,
# numbers of processes and threads, values of registers. What may happen at any time, or not at all, is
# left out, and so is who called main.

/^\* (thread-started|thread-ended|module-loaded): / { next }

/^> / { in_main = 0; print; next }

# Of who called whom, the innermost function and main: the names of those between are not everywhere.
/^#0 / { in_main = / main(\+|$)/ }
/^#[1-9]/ {
    if (in_main || !/ main(\+|$)/) {
        next
    }
    in_main = 1
    sub(/^#[0-9]+ +/, "#  ")
}

# A thread that is anywhere but in a function of the debuggee's.
/^[0-9]+ .*stopped at / && !/debuggee_/ { $0 = "TID elsewhere" }
# The column of names is empty where a thread has none.
/^[0-9]+ .*stopped at / { sub(/^[0-9]+ +/, "TID ") }

# Of the registers, that the next instruction is among them.
/^ *[a-z0-9_]+=[0-9a-f]+/ {
    if (/rip=[0-9a-f]/) {
        print "rip=VALUE"
    }
    next
}
/^[0-9a-f]+  [0-9a-f][0-9a-f] / { sub(/^[0-9a-f]+/, "ADDRESS") }

{
    gsub(/process [0-9]+/, "process PID")
    gsub(/thread [0-9]+/, "thread TID")
    gsub(/\+0x[0-9a-f]+/, "+OFFSET")
    gsub(/0x[0-9a-f][0-9a-f][0-9a-f]+/, "ADDRESS")
    print
}
