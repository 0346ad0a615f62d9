# fish completion for pellora

complete -c pellora -l headless -d 'Run without windows'
complete -c pellora -l add-url -d 'Ask for an address'
complete -c pellora -l version -d 'Print the version'
complete -c pellora -l help -d 'Describe the arguments'
