# Completion of tmsg(1) for fish: verbs, options, forms, and files elsewhere.

# The verb is the first word behind the program: options of the program itself end it at once.
function __tmsg_verb_is
    set -l words (commandline -opc)
    set -q words[2]; and contains -- $words[2] $argv
end

function __tmsg_has_no_verb
    test (count (commandline -opc)) -eq 1
end

function __tmsg_wants_address
    set -l words (commandline -opc)
    __tmsg_verb_is call; and not string match -q '*:*' -- $words[3..]
end

# An option with the verbs that have it; the rest goes to complete.
function __tmsg_option
    complete -c tmsg -n "__tmsg_verb_is $argv[1]" $argv[2..]
end

set -l from call check convert diff get inspect peek set
set -l limited $from serve tap
set -l all $limited help
set -l output call convert serve set
set -l input_forms "auto chunks hex tcl typed-json wire"
set -l output_forms "chunks dump hex json tcl typed-json wire xml"

complete -c tmsg -n __tmsg_has_no_verb -f
complete -c tmsg -n __tmsg_wants_address -f
complete -c tmsg -n "__tmsg_verb_is help serve tap" -f
complete -c tmsg -n "__tmsg_verb_is help" -a "$all"
complete -c tmsg -n __tmsg_has_no_verb -s h -l help -d "print the help"
complete -c tmsg -n __tmsg_has_no_verb -s V -l version -d "print the version"

complete -c tmsg -n __tmsg_has_no_verb -a call -d "send a message and print the reply"
complete -c tmsg -n __tmsg_has_no_verb -a check -d "name each file that is bad"
complete -c tmsg -n __tmsg_has_no_verb -a convert -d "write messages in another form"
complete -c tmsg -n __tmsg_has_no_verb -a diff -d "print the values that differ in two messages"
complete -c tmsg -n __tmsg_has_no_verb -a get -d "print the value at a path"
complete -c tmsg -n __tmsg_has_no_verb -a help -d "print the help of a verb"
complete -c tmsg -n __tmsg_has_no_verb -a inspect -d "show messages with types and offsets"
complete -c tmsg -n __tmsg_has_no_verb -a peek -d "print the method names of requests"
complete -c tmsg -n __tmsg_has_no_verb -a serve -d "print messages that arrive and reply to requests"
complete -c tmsg -n __tmsg_has_no_verb -a set -d "change values in a message"
complete -c tmsg -n __tmsg_has_no_verb -a tap -d "watch traffic"

__tmsg_option "$all" -s h -l help -d "print the help"
__tmsg_option "$all" -s o -l output -r -F -d "write to a file"
__tmsg_option "$all" -s q -l quiet -d "show no progress and no notes"
__tmsg_option "$all" -l color -x -a "auto always never" -d "choose colours"

__tmsg_option "$from" -s f -l from -x -a $input_forms -d "form of the input"
__tmsg_option "$output" -s t -l to -x -a $output_forms -d "form of the output"
__tmsg_option "$output" -l pretty -d "write typed JSON on several lines"
__tmsg_option "$output" -l force -d "write bytes to a terminal, too"
__tmsg_option "call convert serve tap" -l max-text -x -d "limit the text of one message"

__tmsg_option "$limited" -l max-depth -x -d "limit the depth of nesting"
__tmsg_option "$limited" -l max-bytes -x -d "limit the bytes of one message"
__tmsg_option "$limited" -l max-file -x -d "limit the bytes of one file value"
__tmsg_option "$limited" -l max-files -x -d "limit the file values of one message"
__tmsg_option "$limited" -l max-values -x -d "limit the values of one message"
__tmsg_option "$limited" -l max-memory -x -d "limit the memory of one message"
__tmsg_option "$limited" -l max-unfinished -x -d "limit the unfinished messages"
__tmsg_option "$limited" -l max-held -x -d "limit the bytes of unfinished messages"

__tmsg_option "call convert" -l chunk-size -x -d "payload bytes of each chunk"

__tmsg_option call -l timeout -x -d "time that the whole call may take"
__tmsg_option call -l repeat -x -d "make so many calls and measure them"
__tmsg_option call -l parallel -x -d "calls at a time"
__tmsg_option call -s d -l data -x -d "body as typed JSON, or @FILE"

__tmsg_option convert -l limit -x -d "bytes after which text is cut"
__tmsg_option convert -l seq -x -d "sequence number of the chunks"
__tmsg_option convert -l port -x -d "port byte of the chunks"
__tmsg_option convert -l names-by-index -d "write names by index"
__tmsg_option convert -l names -d "write names as text"

__tmsg_option inspect -s t -l to -x -a "html text" -d "text, or a page"

__tmsg_option serve -l port -x -d "port on which to listen"
__tmsg_option serve -l listen -x -d "address on which to listen"
__tmsg_option serve -l reply -r -F -d "file with the reply"
__tmsg_option serve -l fault -x -d "fault that is the reply"
__tmsg_option serve -l delay -x -d "milliseconds for which each reply waits"
__tmsg_option serve -l idle -x -d "time after which idle connections are closed"
__tmsg_option serve -l group -x -d "queue group"

__tmsg_option set -l in-place -d "write the message into the file"

__tmsg_option tap -s t -l to -x -a "dump hex json tcl typed-json xml" -d "form of the messages"
__tmsg_option tap -l listen -x -d "port on which to listen"
__tmsg_option tap -l upstream -x -d "address of the server"
__tmsg_option tap -l save -x -a "(__fish_complete_directories)" -d "folder for captures"
__tmsg_option tap -l inbox-prefix -x -d "what the names of inboxes begin with"

functions -e __tmsg_option
