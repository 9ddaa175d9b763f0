# The anchor that a browser of repositories gives to a heading.
function anchor_of(heading) {
    sub(/^#+ +/, "", heading)
    heading = tolower(heading)
    gsub(/[^a-z0-9 _-]/, "", heading)
    gsub(/ /, "-", heading)
    return heading
}
# The path of a link in a page, without "." and "..".
function path_of(page, link, parts, count, kept, i, path) {
    sub(/[^\/]*$/, "", page)
    count = split(page link, parts, "/")
    kept = 0
    for (i = 1; i <= count; ++i) {
        if (parts[i] == ".." && kept > 0) --kept
        else if (parts[i] != "." && parts[i] != "") parts[++kept] = parts[i]
    }
    path = parts[1]
    for (i = 2; i <= kept; ++i) path = path "/" parts[i]
    return path
}
function is_there(path) { return system("test -e '" path "'") == 0 }
function check(place, page, link, hash, path) {
    if (link ~ /^[a-z]+:/) return
    ++checked
    hash = index(link, "#")
    path = hash == 1 ? page : path_of(page, hash > 0 ? substr(link, 1, hash - 1) : link)
    if (!is_there(path)) complain(place, link, "no such file")
    else if (hash > 0 && !((path, substr(link, hash + 1)) in anchors)) complain(place, link, "no such heading")
}
function complain(place, link, why) { print place ": " link ": " why; bad = 1 }

FNR == 1 { is_code = 0 }
/^ *```/ { is_code = !is_code; next }
is_code { next }
/^#+ / {
    anchor = anchor_of($0)
    repeated = seen[FILENAME, anchor]++
    anchors[FILENAME, repeated > 0 ? anchor "-" repeated : anchor] = 1
}
{
    text = $0
    gsub(/`[^`]*`/, "", text)
    while (match(text, /\]\([^) ]+\)/)) {
        links[++count] = substr(text, RSTART + 2, RLENGTH - 3)
        pages[count] = FILENAME
        places[count] = FILENAME ":" FNR
        text = substr(text, RSTART + RLENGTH)
    }
}
END {
    for (i = 1; i <= count; ++i) check(places[i], pages[i], links[i])
    if (checked == 0) { print "no links were found"; bad = 1 }
    exit bad
}
