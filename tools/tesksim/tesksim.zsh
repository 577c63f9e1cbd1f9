#compdef tesksim
# Completion of tesksim for zsh.

_arguments \
    '--scenario[file that describes the machines]:file:_files' \
    '--seed[seed of the random numbers]:number:' \
    {-l,--live}'[show requests, answers and faults]' \
    {-m,--machines}'[number of slot machines]:number:' \
    {-c,--code-id}'[start of the CodeIds of the machines]:text:' \
    {-f,--port-file}'[file for the TCP ports chosen]:file:_files' \
    '*'{-p,--port}'[TCP port of the next machine]:port:' \
    '*'{-t,--tty}'[tty of the next machine]:tty:_files' \
    '--line[setting of the ttys]:setting:' \
    '*'{-s,--silent}'[machine that never answers]:number:' \
    '*'{-x,--command}'[console command to execute at the start]:command:(start stop show ok silent refuse deaf disconnect slow dribble length cut code-id body help quit)' \
    {-h,--help}'[print the options]' \
    '--version[print the version]'
