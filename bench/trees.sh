# Sourced by the changeset benchmarks: two trees of FILES empty files under ROOT/left and
# ROOT/right, in folders of 1000: the first half of the names on the left only, the middle on
# both sides, the last half on the right only.
#   make_trees ROOT FILES
make_trees() {
    local root=$1 files=$2
    make_side() { # side first last
        local folder=$(($2 / 1000))
        while [[ $folder -lt $(($3 / 1000)) ]]; do
            mkdir -p "$root/$1/d$folder"
            (cd "$root/$1/d$folder" && seq -f "f%06g" $((folder * 1000)) $((folder * 1000 + 999)) |
                xargs touch)
            folder=$((folder + 1))
        done
    }
    make_side left 0 "$files"
    make_side right $((files / 2)) $((files * 3 / 2))
}
