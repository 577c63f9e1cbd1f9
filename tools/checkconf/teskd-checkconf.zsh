#compdef teskd-checkconf
# Completion of teskd-checkconf for zsh.

_arguments \
    '--root[directory that the daemon'\''s files lie under]:directory:_files -/' \
    {-q,--quiet}'[print the findings only]' \
    {-h,--help}'[print the options]' \
    '--version[print the version]' \
    '*:configuration file:_files'
