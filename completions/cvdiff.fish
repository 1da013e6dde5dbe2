# fish completion for cvdiff
complete -c cvdiff -s v -l version -d 'Show version information and exit'
complete -c cvdiff -l short-version -d 'Show the short version and exit'
complete -c cvdiff -l debug-version -d 'Show which Corvane the tool would use'
complete -c cvdiff -s h -l help -d 'Show the help message and exit'
complete -c cvdiff -s w -l wait -d 'Wait for the document to be closed'
complete -c cvdiff -s W -l no-wait -d 'Do not wait for the document to be closed'
complete -c cvdiff -s l -l label -x -d "The tab's visible label"
complete -c cvdiff -l no-stdin -d 'Never read standard input'
complete -c cvdiff -s s -l snapshot -d 'The preceding file is temporary'
complete -c cvdiff -s S -l no-snapshot -d 'The preceding file is not temporary'
complete -c cvdiff -l diff -d 'Send files to open (the default)'
complete -c cvdiff -l partial-changeset -d 'Send part of a changeset'
complete -c cvdiff -l UUID -x -d 'The document to add the changeset item to'
complete -c cvdiff -l relative-path -x -d "The item's path within its root"
complete -c cvdiff -l mark-changeset-as-closed -x -d 'Close a partial changeset'
complete -c cvdiff -l changeset -d 'Send a complete changeset'
complete -c cvdiff -l filelist -d 'Begin a changeset item'
complete -c cvdiff -l file-status -x -a 'added removed' -d 'The item was added or removed'
complete -c cvdiff -l filename -x -d 'A file name (no effect)'
complete -c cvdiff -l merge -d 'Send a merge'
complete -c cvdiff -l output -r -F -d "The merge's destination"
complete -c cvdiff -l base -r -F -d "The merge's base"
