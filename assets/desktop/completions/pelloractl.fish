# fish completion for pelloractl

function __pelloractl_downloads
    pelloractl list 2>/dev/null | cut -f 8
end

set -l commands add list wait pause resume remove limit open zip quit
set -l none "not __fish_seen_subcommand_from $commands"
complete -c pelloractl -f
complete -c pelloractl -n $none -a add -d 'Add URLs and print an id for each'
complete -c pelloractl -n $none -a list -d 'Print all downloads'
complete -c pelloractl -n $none -a wait -d 'Return when downloads have ended'
complete -c pelloractl -n $none -a pause -d 'Stop downloads'
complete -c pelloractl -n $none -a resume -d 'Start or continue downloads'
complete -c pelloractl -n $none -a remove -d 'Take downloads out of the list'
complete -c pelloractl -n $none -a limit -d 'Set the highest speed'
complete -c pelloractl -n $none -a open -d 'Show a window'
complete -c pelloractl -n $none -a zip -d 'List a remote ZIP archive, or get files out of it'
complete -c pelloractl -n $none -a quit -d 'End Pellora'
complete -c pelloractl -l help -d 'Describe the command'
complete -c pelloractl -n '__fish_seen_subcommand_from add' -s i -l input -r -F -d 'File of URLs'
complete -c pelloractl -n '__fish_seen_subcommand_from add' -s o -l output -r -F -d 'Name of the file'
complete -c pelloractl -n '__fish_seen_subcommand_from add' -l folder -x -a '(__fish_complete_directories)' -d 'Folder of the file'
complete -c pelloractl -n '__fish_seen_subcommand_from add zip' -l user -x -d 'User name'
complete -c pelloractl -n '__fish_seen_subcommand_from add zip' -l password-stdin -d 'Read the password from standard input'
complete -c pelloractl -n '__fish_seen_subcommand_from add' -l checksum -x -d 'What the file must have'
complete -c pelloractl -n '__fish_seen_subcommand_from add' -l referer -x -d 'Page that the download belongs to'
complete -c pelloractl -n '__fish_seen_subcommand_from add' -l cookies -r -F -d 'File of cookies'
complete -c pelloractl -n '__fish_seen_subcommand_from add' -l limit -x -d 'Highest speed in KiB/s'
complete -c pelloractl -n '__fish_seen_subcommand_from add' -l later -d 'Do not start it'
complete -c pelloractl -n '__fish_seen_subcommand_from add' -l at -x -d 'Time to start it'
complete -c pelloractl -n '__fish_seen_subcommand_from add' -l on-duplicate -x -a 'no yes' -d 'For a URL in the list'
complete -c pelloractl -n '__fish_seen_subcommand_from add list wait limit zip' -l json -d 'Print an object a line'
complete -c pelloractl -n '__fish_seen_subcommand_from wait' -l progress -d 'Draw a line for each download'
complete -c pelloractl -n '__fish_seen_subcommand_from wait' -l timeout -x -d 'Give up after that time'
complete -c pelloractl -n '__fish_seen_subcommand_from pause' -l all -d 'Stop all that are running'
complete -c pelloractl -n '__fish_seen_subcommand_from wait pause resume remove limit open' -a '(__pelloractl_downloads)'
complete -c pelloractl -n '__fish_seen_subcommand_from zip' -a 'list get'
complete -c pelloractl -n '__fish_seen_subcommand_from zip' -l to -x -a '(__fish_complete_directories)' -d 'Folder to unpack into'
complete -c pelloractl -n '__fish_seen_subcommand_from zip' -l existing -x -a 'number replace keep' -d 'For files that are there'
complete -c pelloractl -n '__fish_seen_subcommand_from zip' -l archive-password-stdin -d 'Read the password of encrypted entries'
