# Completion of tesksim for fish.

complete -c tesksim -f
complete -c tesksim -l scenario -r -F -d "File that describes the machines"
complete -c tesksim -l seed -x -d "Seed of the random numbers"
complete -c tesksim -s l -l live -d "Show requests, answers and faults"
complete -c tesksim -s m -l machines -x -d "Number of slot machines"
complete -c tesksim -s c -l code-id -x -d "Start of the CodeIds of the machines"
complete -c tesksim -s f -l port-file -r -F -d "File for the TCP ports chosen"
complete -c tesksim -s p -l port -x -d "TCP port of the next machine"
complete -c tesksim -s t -l tty -r -F -d "Tty of the next machine"
complete -c tesksim -l line -x -d "Setting of the ttys"
complete -c tesksim -s s -l silent -x -d "Machine that never answers"
complete -c tesksim -s x -l command -x -a "start stop show ok silent refuse deaf disconnect slow dribble length cut code-id body help quit" -d "Console command to execute at the start"
complete -c tesksim -s h -l help -d "Print the options"
complete -c tesksim -l version -d "Print the version"
