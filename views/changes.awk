# SPDX-License-Identifier: MIT
# Finds the changes of state in the lines of all runs (report-changes.xsl), the oldest run first.
# Prints three fields separated by tabs: two times in seconds, or "-" for none, and a text.
#
# After a line "since", prints only the later changes, or nothing if there are none.
#
# Variables:
#   most_changes  a service with more changes within 24 hours is flapping
#   json          a file that gets the printed changes as JSON, if there are any
#   host          the name of this host
#   now           if this is the present time instead of 0, prints only the time at which the last
#                 state of each service began, with the text "STATE ID", or "<STATE ID" if the state
#                 may have begun before. Prints nothing if the last run is more than an hour old
BEGIN {
    FS = OFS = "\t"
    upgrade = "\t" # stands for the upgrade among the services; no id contains a tab
}

$1 == "word" { word[$2] = $3 }

$1 == "run" {
    end_run()
    runs++
    time = $2
    kind = $3
    if (runs == 1) first = time
    if (kind == "report") has_report = 1
    enter(upgrade, kind == "upgrade" ? "yes" : "no", "")
}

$1 == "since" {
    end_run()
    count = 0
    has_since = 1
}

$1 == "service" {
    listed[$2] = runs
    if ($5 != "") title[$2] = $5
    enter($2, $3, $4 == "passed" ? "" : $6, $4)
}

END {
    end_run()
    if (now) {
        for (i = 1; now - time < 3600 && i <= id_count; i++)
            if (ids[i] != upgrade)
                print since[ids[i]], "-", (is_older[ids[i]] ? "<" : "") state[ids[i]] " " ids[i]
        exit
    }
    title[upgrade] = word["upgrade"]
    if (has_since && count == 0) exit
    if (!has_since) {
        print first, time, word["inspections"] ": " runs
        print_text("")
    }
    for (i = 1; i <= count; i++) {
        print at[i], "-", name(changed[i]) ": " text[i]
        if (reason[i] != "") print_text("    " reason[i])
    }
    if (count == 0) print_text(word["none"])
    print_flapping()
    if (json != "" && count > 0) print_json()
}

# A report of version 1.0.0 names only what is down. A service that it no longer names is up, unknown
# or stopped.
function end_run(  i) {
    if (kind == "inspection") has_inspection = 1
    if (kind != "report") return
    for (i = 1; i <= id_count; i++)
        if (state[ids[i]] == "down" && listed[ids[i]] != runs) enter(ids[i], "unreported", "")
}

# The service has the state `new` in this run, for the reason `why` with the code `new_code`.
function enter(id, new, why, new_code,  old, is_change) {
    if (!(id in state)) {
        ids[++id_count] = id
        # If all earlier runs were made during an upgrade, the service may have been listed before.
        state[id] = has_report || !has_inspection ? "unreported" : "unlisted"
        since[id] = first
        is_older[id] = 1 # the state may have begun before the first run
    }
    old = state[id]
    if (old == new) return
    # In the first run nothing changes. If the state was unreported, only "down" is certainly a
    # change.
    is_change = runs > 1 && (old != "unreported" || new == "down")
    if (is_change) {
        changed[++count] = id
        at[count] = time
        reason[count] = why
        code[count] = new_code
        from[count] = old
        to[count] = new
        text[count] = described(old) lasted(id) " -> " described(new)
        change_time[id, ++changes[id]] = time
    }
    state[id] = new
    since[id] = time
    is_older[id] = !is_change
}

function name(id) { return id in title ? title[id] : id }

function described(what) { return what in word ? word[what] : what }

# How long the service was in its state: " (2 h 10 min)", or " (> 2 h 10 min)" if perhaps longer.
function lasted(id,  seconds) {
    seconds = time - since[id]
    if (seconds < 0 || state[id] == "unlisted") return ""
    return " (" (is_older[id] ? "> " : "") duration(seconds) ")"
}

function duration(seconds,  minutes, hours) {
    minutes = int(seconds / 60)
    hours = int(minutes / 60)
    if (minutes == 0) return seconds " " word["seconds"]
    if (hours == 0) return minutes " " word["minutes"]
    if (hours < 24) return hours " " word["hours"] further(minutes % 60, "minutes")
    return int(hours / 24) " " word["days"] further(hours % 24, "hours")
}

function further(number, unit) { return number == 0 ? "" : " " number " " word[unit] }

function print_flapping(  i, list) {
    for (i = 1; i <= id_count; i++)
        if (most_in_a_day(ids[i]) > most_changes)
            list = list (list == "" ? "" : ", ") name(ids[i]) " (" most_in_a_day(ids[i]) ")"
    if (list == "") return
    print_text("")
    print_text(word["flapping"] " (> " most_changes " / 24 " word["hours"] "): " list)
}

# The largest number of changes within 24 hours.
function most_in_a_day(id,  begin, end, most) {
    begin = 1
    for (end = 1; end <= changes[id]; end++) {
        while (change_time[id, end] - change_time[id, begin] >= 86400) begin++
        if (end - begin + 1 > most) most = end - begin + 1
    }
    return most + 0
}

function print_json(  i) {
    printf "{\"host\": %s, \"changes\": [\n", quoted(host) >json
    for (i = 1; i <= count; i++) {
        printf " {\"time\": %s, ", at[i] >json
        if (changed[i] == upgrade)
            printf "\"upgrade\": %s", to[i] == "yes" ? "true" : "false" >json
        else
            printf "\"service\": %s, \"title\": %s, \"from\": %s, \"to\": %s, \"code\": %s, \"reason\": %s",
                quoted(changed[i]), quoted(name(changed[i])), quoted(from[i]), quoted(to[i]),
                quoted(code[i]), quoted(reason[i]) >json
        print (i < count ? "}," : "}") >json
    }
    print "]}" >json
}

# A text as JSON. It contains no control character (report-changes.xsl).
function quoted(value,  i, character, text) {
    for (i = 1; i <= length(value); i++) {
        character = substr(value, i, 1)
        text = text (character == "\\" || character == "\"" ? "\\" : "") character
    }
    return "\"" text "\""
}

function print_text(line) { print "-", "-", line }
