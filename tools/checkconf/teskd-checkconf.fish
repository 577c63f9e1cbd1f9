# Completion of teskd-checkconf for fish.

complete -c teskd-checkconf -l root -x -a "(__fish_complete_directories)" -d "Directory that the daemon's files lie under"
complete -c teskd-checkconf -s q -l quiet -d "Print the findings only"
complete -c teskd-checkconf -s h -l help -d "Print the options"
complete -c teskd-checkconf -l version -d "Print the version"
