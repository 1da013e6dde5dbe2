# fish completion for corvane (Corvane)
for command in corvane Corvane
    complete -c $command -s h -l help -d 'Show the usage and exit'
    complete -c $command -l version -d 'Show the version and exit'
    complete -c $command -l journal -r -F -d 'Append every request to this file'
    complete -c $command -l list -d 'Print the open documents as JSON'
    complete -c $command -l close-tab -x -d "Close a document's tab"
    complete -c $command -l finish-merge -x -d 'Finish a merge'
    complete -c $command -l resolved -d 'The merge is resolved'
    complete -c $command -l unresolved -d 'The merge is not resolved'
    complete -c $command -l result -r -F -a 'left right base' -d "The resolved merge's content"
    complete -c $command -l screenshot -r -F -d 'Save the window as PNG'
    complete -c $command -l quit -d 'End the running application'
end
