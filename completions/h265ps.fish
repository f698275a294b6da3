# fish completion for h265ps. Verbs and options are those that --help tells, so that nothing here has to follow them.

function __h265ps_verbs
    h265ps --help 2>/dev/null | awk '/^Verbs:/ {inside = 1; next} /^[^ ]/ {inside = 0} inside && /^  [a-z]/ {print $1}'
end

function __h265ps_options
    set -l words (commandline -opc)
    set -l verb
    if test (count $words) -gt 1; and contains -- $words[2] (__h265ps_verbs)
        set verb $words[2]
    end
    h265ps $verb --help 2>/dev/null | string match -r '^  (?:-[a-zA-Z],)?--[a-z][a-z0-9-]*' | string match -r -- '--.*'
end

complete -c h265ps -n 'test (count (commandline -opc)) -eq 1' -a '(__h265ps_verbs)'
complete -c h265ps -n 'string match -q -- "-*" (commandline -ct)' -a '(__h265ps_options)'
complete -c h265ps -l type -x -a 'vps sps pps'
complete -c h265ps -l reader -x -a 'rbsp decoder'
complete -c h265ps -l as -x -a 'hvcc sprop annexb hex'
