# Completion of the pelta command in bash. Written by scripts/manual; change the options of the command instead.

# Offers the names in $2 that go on from $1.
_pelta_names() {
    mapfile -t COMPREPLY < <(compgen -W "$2" -- "$1")
}

# The same behind the last comma of a list.
_pelta_list() {
    local before=
    [[ $1 != *,* ]] || before=${1%,*},
    mapfile -t COMPREPLY < <(compgen -P "$before" -W "$2" -- "${1##*,}")
    compopt -o nospace
}

# The same where bytes are assigned to each name; a byte itself is for the user to know.
_pelta_assignments() {
    local before= last=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    if [[ $1 == *,* ]]; then
        before=${1%,*},
    elif [[ $last == '=' ]]; then
        [[ $previous == -* ]] || return
    elif [[ $previous == [=:] ]]; then
        [[ ${COMP_WORDS[COMP_CWORD - 2]} == -* ]] || return
    fi
    mapfile -t COMPREPLY < <(compgen -P "$before" -S = -W "$2" -- "${1##*,}")
    compopt -o nospace
}

_pelta_files() {
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$1")
}

_pelta() {
    local word=${COMP_WORDS[COMP_CWORD]} option command= options= k=$COMP_CWORD
    COMPREPLY=()
    # bash makes several words of --option=value and of name=byte:size.
    while ((k > 1)) && [[ ${COMP_WORDS[k]} == [=:] || ${COMP_WORDS[k - 1]} == [=:] ]]; do
        ((--k))
    done
    option=${COMP_WORDS[k - 1]}
    [[ $k == "$COMP_CWORD" || ${COMP_WORDS[k]} != -* ]] || option=${COMP_WORDS[k]}
    [[ $word != '=' ]] || word=
    for ((k = 1; k < COMP_CWORD; ++k)); do
        if [[ ${COMP_WORDS[k]} != -* ]]; then
            command=${COMP_WORDS[k]}
            break
        fi
    done
    local words="trace trace_in_file record channel source cdp trace_in_cdp trace_type fold offset receiver_elevation source_elevation source_depth elevation_scalar coordinate_scalar source_x source_y receiver_x receiver_y coordinate_units source_static receiver_static total_static delay mute_start mute_end samples interval cdp_x cdp_y inline crossline time_scalar pick"
    case $command in
        "")
            _pelta_names "$word" "bandpass check gain grid hilbert info ledger moveout mute phase pick plot refract run sort stack static synth trim velan velocity wavelet --version -h --help"
            return
            ;;
        bandpass)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --threads --overwrite --quiet --profile --history --ledger-area --ledger-line --show --shape --corners --corners-hz --slopes --slopes-db-per-octave --phase --inverse --domain --truncation --keep-level"
            case $option in
                --samples | --interval | --threads | --ledger-area | --ledger-line | --corners | --corners-hz | --slopes | --slopes-db-per-octave | --truncation) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
                --shape) _pelta_names "$word" "ormsby butterworth"; return ;;
                --domain) _pelta_names "$word" "time frequency"; return ;;
                --phase) _pelta_names "$word" "zero minimum"; return ;;
            esac
            ;;
        check)
            options="-h --help --map --samples --interval --format --endian --tape --json"
            case $option in
                --samples | --interval) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        gain)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --threads --overwrite --quiet --profile --history --ledger-area --ledger-line --show --window --window-ms --gains-file"
            case $option in
                --samples | --interval | --threads | --ledger-area | --ledger-line | --window | --window-ms) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --gains-file) _pelta_files "$word"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        grid)
            options="-h --help --x --y --z --segy --map --samples --interval --format --endian --tape --salvage --picks --word-unit --region --spacing --nodes --block --tension --boundary-tension --aspect --bounds --variant --sweeps --converge --check --held-out --picture --size --shaded --contours --no-points --quiet --overwrite"
            case $option in
                --samples | --interval | --region | --spacing | --nodes | --tension | --boundary-tension | --aspect | --bounds | --sweeps | --converge | --held-out | --size | --contours) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --picks | --picture) _pelta_files "$word"; return ;;
                --x | --y | --z) _pelta_names "$word" "$words"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --variant) _pelta_names "$word" "gmtsurface gmtgrid"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
                --word-unit) _pelta_names "$word" "ms us samples"; return ;;
                --block) _pelta_names "$word" "none mean median"; return ;;
            esac
            ;;
        hilbert)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --threads --overwrite --quiet --profile --history --ledger-area --ledger-line --show"
            case $option in
                --samples | --interval | --threads | --ledger-area | --ledger-line) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        info)
            options="-h --help --map --samples --interval --format --endian --tape --json --text"
            case $option in
                --samples | --interval) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        ledger)
            options="-h --help --user --process --year --month --check"
            case $option in
                --user | --process | --year | --month) return ;;
            esac
            [[ $word == -* ]] || return
            ;;
        moveout)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --threads --overwrite --quiet --profile --history --ledger-area --ledger-line --show --mode --velocity --velocity-m-per-s --velocity-table --velocity-table-ms-m-per-s --velocity-file --velocity-by --fourth-order --converted-wave --one-way --stretch --stretch-percent --stretch-from-offset --stretch-from-offset-m --window --window-ms"
            case $option in
                --samples | --interval | --threads | --ledger-area | --ledger-line | --velocity | --velocity-m-per-s | --velocity-table | --velocity-table-ms-m-per-s | --fourth-order | --stretch | --stretch-percent | --stretch-from-offset | --stretch-from-offset-m | --window | --window-ms) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --velocity-file) _pelta_files "$word"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --velocity-by) _pelta_names "$word" "coordinates cdp"; return ;;
                --mode) _pelta_names "$word" "forward inverse block"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        mute)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --threads --overwrite --quiet --profile --history --ledger-area --ledger-line --show --top --top-m-ms --top-file --bottom --bottom-m-ms --bottom-file --taper --taper-ms --taper-shape"
            case $option in
                --samples | --interval | --threads | --ledger-area | --ledger-line | --top | --top-m-ms | --bottom | --bottom-m-ms | --taper | --taper-ms) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --top-file | --bottom-file) _pelta_files "$word"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --taper-shape) _pelta_names "$word" "cosine linear"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        phase)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --threads --overwrite --quiet --profile --history --ledger-area --ledger-line --show --angle --angle-deg"
            case $option in
                --samples | --interval | --threads | --ledger-area | --ledger-line | --angle | --angle-deg) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        pick)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --threads --overwrite --quiet --profile --history --ledger-area --ledger-line --show --ipmethod --method --velocity --velocity-m-per-s --delay --delay-samples --shiftpick --direction --envelope --envelope-ms --stablizer --stablizer-percent --winlen --winlen-ms --winlen1 --winlen1-ms --winlen2 --winlen2-ms --winlen3 --winlen3-ms --win1 --win1-ms --win2 --win2-ms --wina --wina-ms --winar --winar-ms --threshold --threshspd --freqspd --freqspd-hz --winspd --winspd-ms --limkey --ilkey --picks-file --word-unit"
            case $option in
                --samples | --interval | --threads | --ledger-area | --ledger-line | --velocity | --velocity-m-per-s | --delay | --delay-samples | --envelope | --envelope-ms | --stablizer | --stablizer-percent | --winlen | --winlen-ms | --winlen1 | --winlen1-ms | --winlen2 | --winlen2-ms | --winlen3 | --winlen3-ms | --win1 | --win1-ms | --win2 | --win2-ms | --wina | --wina-ms | --winar | --winar-ms | --threshold | --threshspd | --freqspd | --freqspd-hz | --winspd | --winspd-ms | --limkey | --ilkey) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --picks-file) _pelta_files "$word"; return ;;
                --direction) _pelta_names "$word" "backward both forward"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --ipmethod) _pelta_names "$word" "energy deviation autoregressive spectral"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
                --word-unit) _pelta_names "$word" "ms us samples"; return ;;
                --shiftpick) _pelta_names "$word" "trough peak falling rising none"; return ;;
                --method) _pelta_names "$word" "window offset"; return ;;
            esac
            ;;
        plot)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --style --palette --axis --records --traces --times --clip --gain --balance --minus --picks --title --size --overwrite"
            case $option in
                --samples | --interval | --records | --traces | --times | --clip | --gain | --title | --size) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --minus | --picks) _pelta_files "$word"; return ;;
                --axis) _pelta_names "$word" "$words"; return ;;
                --style) _pelta_names "$word" "auto wiggle density"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --palette) _pelta_names "$word" "gray seismic"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        refract)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --picks --word-unit --offsets --direct --records --offsets-from --least-picks --trim --residuals --picture --size --overwrite"
            case $option in
                --samples | --interval | --offsets | --direct | --records | --least-picks | --trim | --size) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --picks | --residuals | --picture) _pelta_files "$word"; return ;;
                --offsets-from) _pelta_names "$word" "auto word coordinates"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
                --word-unit) _pelta_names "$word" "ms us samples"; return ;;
            esac
            ;;
        run)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --threads --overwrite --quiet --profile --history --ledger-area --ledger-line --show"
            case $option in
                --samples | --interval | --threads | --ledger-area | --ledger-line) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        sort)
            options="-h --help --by --descending --memory --map --samples --interval --format --endian --tape --salvage --overwrite --quiet --history --ledger-area --ledger-line"
            case $option in
                --memory | --samples | --interval | --ledger-area | --ledger-line) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --by | --descending) _pelta_list "$word" "$words"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        stack)
            options="-h --help --flow --fold-exponent --memory --map --samples --interval --format --endian --tape --salvage --threads --overwrite --quiet --profile --history --ledger-area --ledger-line"
            case $option in
                --fold-exponent | --memory | --samples | --interval | --threads | --ledger-area | --ledger-line) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --flow) _pelta_files "$word"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        static)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --threads --overwrite --quiet --profile --history --ledger-area --ledger-line --show --shift --shift-ms --word --statics-file --remove"
            case $option in
                --samples | --interval | --threads | --ledger-area | --ledger-line | --shift | --shift-ms) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --statics-file) _pelta_files "$word"; return ;;
                --word) _pelta_names "$word" "$words"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        synth)
            options="-h --help --first-breaks --velocities --seed --records --channels --samples --interval --receiver-interval --source-interval --near-offset --noise --dead --reversed --ground-roll --lateral --format --endian --overwrite"
            case $option in
                --seed | --records | --channels | --samples | --interval | --receiver-interval | --source-interval | --near-offset | --noise | --dead | --reversed | --ground-roll | --lateral) return ;;
                --first-breaks | --velocities) _pelta_files "$word"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        trim)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --threads --overwrite --quiet --profile --history --ledger-area --ledger-line --show --polygon --polygon-file --position --gate --gate-m-ms --gate-file --signed-offset --keep --removal"
            case $option in
                --samples | --interval | --threads | --ledger-area | --ledger-line | --polygon | --gate | --gate-m-ms) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --polygon-file | --gate-file) _pelta_files "$word"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --removal) _pelta_names "$word" "drop kill"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
                --keep) _pelta_names "$word" "inside outside"; return ;;
                --position) _pelta_names "$word" "source receiver midpoint cdp"; return ;;
            esac
            ;;
        velan)
            options="-h --help --map --samples --interval --format --endian --tape --salvage --cdp --cdps --record --cdp-column --velocities --stretch --window --least-semblance --least-spacing --interval-velocities --panel --picture --size --truth --threads --overwrite"
            case $option in
                --samples | --interval | --cdp | --cdps | --record | --velocities | --stretch | --window | --least-semblance | --least-spacing | --interval-velocities | --size | --threads) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --panel | --picture | --truth) _pelta_files "$word"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        velocity)
            options="-h --help --time --section --cdps --line --velocity-by --region --spacing --times --time-spacing --only-inside --picture --size --overwrite --map --samples --interval --format --endian --tape --salvage"
            case $option in
                --time | --section | --cdps | --region | --spacing | --times | --time-spacing | --size | --samples | --interval) return ;;
                --map) _pelta_assignments "$word" "$words"; return ;;
                --line | --picture) _pelta_files "$word"; return ;;
                --endian) _pelta_names "$word" "big little"; return ;;
                --velocity-by) _pelta_names "$word" "coordinates cdp"; return ;;
                --format) _pelta_names "$word" "ibm ieee int8 int16 int32"; return ;;
            esac
            ;;
        wavelet)
            options="-h --help --frequency --interval --tail --length --filter-length --noise --spectra --picture --size --overwrite"
            case $option in
                --frequency | --interval | --tail | --length | --filter-length | --noise | --size) return ;;
                --spectra | --picture) _pelta_files "$word"; return ;;
            esac
            ;;
    esac
    if [[ $word == -* ]]; then
        _pelta_names "$word" "$options"
    else
        _pelta_files "$word"
    fi
}
complete -F _pelta pelta
