# Makes Markdown tables, and the data of the plots, of the figures that corvalux-bench-fanout writes.
# Needs -v folder=DIR for the plots' data. Input: round,server,subscribers,load,mode,figure,value.
BEGIN {
  FS = ","
  serverCount = split("module minimal ordinary floor mosquitto nats-server redis-server", servers, " ")
  subscriberCount = split("1 8 64 256 1000", subscribers, " ")
  loadCount = split("WS W64 WL", loads, " ")
}

FNR > 1 && NF == 7 {
  value[$5, $4, $3, $6, $2, $1] = $7
  known[$5, $4, $3, $6, $2] = 1
  if ($1 > rounds) rounds = $1
}

function sortInto(list, count,    i, j, held) {
  for (i = 2; i <= count; i++) {
    held = list[i]
    for (j = i - 1; j > 0 && list[j] > held; j--) list[j + 1] = list[j]
    list[j + 1] = held
  }
}

# Sets median, least and most of a server's figure, or of its ratio to another server's in the same round.
function look(cell, figure, server, other,    i, count, list) {
  for (i = 1; i <= rounds; i++) {
    if (!((cell, figure, server, i) in value)) continue
    if (other != "" && !((cell, figure, other, i) in value)) continue
    list[++count] = value[cell, figure, server, i]
    if (other != "") list[count] /= value[cell, figure, other, i]
  }
  if (!count) return 0
  sortInto(list, count)
  median = count % 2 ? list[(count + 1) / 2] : (list[count / 2] + list[count / 2 + 1]) / 2
  least = list[1]
  most = list[count]
  return count
}

function short(number) { return sprintf(number >= 100 ? "%.0f" : number >= 10 ? "%.1f" : "%.2f", number) }

function entry(cell, figure, server, scale) {
  if (!look(cell, figure, server, "")) return " – |"
  return sprintf(" %s (%s–%s) |", short(median / scale), short(least / scale), short(most / scale))
}

function ratio(cell, figure, server, other) {
  if (!look(cell, figure, server, other)) return " – |"
  return sprintf(" %.2f (%.2f–%.2f) |", median, least, most)
}

function head(title,    i) {
  printf "\n%s\n\n| load | subscribers |", title
  for (i = 1; i <= serverCount; i++) printf " %s |", servers[i]
  print ""
  printf "|---|--:|"
  for (i = 1; i <= serverCount; i++) printf "--:|"
  print ""
}

function headRatios(title,    i) {
  printf "\n%s\n\n| load | subscribers |", title
  for (i = 2; i <= serverCount; i++) printf " to %s |", servers[i]
  print " spread |"
  printf "|---|--:|"
  for (i = 1; i <= serverCount; i++) printf "--:|"
  print ""
}

function table(title, mode, figure, scale,    l, n, i, cell) {
  head(title)
  for (l = 1; l <= loadCount; l++) for (n = 1; n <= subscriberCount; n++) {
    cell = mode SUBSEP loads[l] SUBSEP subscribers[n]
    if (!((cell, figure, "module") in known)) continue
    printf "| %s | %d |", loads[l], subscribers[n]
    for (i = 1; i <= serverCount; i++) printf "%s", entry(cell, figure, servers[i], scale)
    print ""
  }
}

function ratios(title, mode, figure,    l, n, i, cell) {
  headRatios(title)
  for (l = 1; l <= loadCount; l++) for (n = 1; n <= subscriberCount; n++) {
    cell = mode SUBSEP loads[l] SUBSEP subscribers[n]
    if (!((cell, figure, "module") in known)) continue
    printf "| %s | %d |", loads[l], subscribers[n]
    for (i = 2; i <= serverCount; i++) printf "%s", ratio(cell, figure, "module", servers[i])
    print ratio(cell, figure, "minimal-again", "minimal")
  }
}

function memory(    i, cell) {
  cell = "memory" SUBSEP "W64" SUBSEP 1000
  print "\nResident memory for each subscriber, of 1000 (KiB):\n\n| server | idle | streaming |\n|---|--:|--:|"
  for (i = 1; i <= serverCount; i++) {
    printf "| %s |%s%s\n", servers[i], entry(cell, "idle", servers[i], 1024), entry(cell, "streaming", servers[i], 1024)
  }
  printf "| module to minimal |%s%s\n", ratio(cell, "idle", "module", "minimal"), ratio(cell, "streaming", "module", "minimal")
  printf "| spread |%s%s\n", ratio(cell, "idle", "minimal-again", "minimal"), ratio(cell, "streaming", "minimal-again", "minimal")
}

function instructions(    cell) {
  cell = "callgrind" SUBSEP "W64" SUBSEP 64
  if (!((cell, "instructions", "module") in known)) return
  print "\nUser instructions for each delivered message, W64, 64 subscribers, counted by callgrind:\n"
  print "| module | minimal | ordinary | module to minimal | spread |\n|--:|--:|--:|--:|--:|"
  printf "|%s%s%s%s%s\n", entry(cell, "instructions", "module", 1), entry(cell, "instructions", "minimal", 1),
    entry(cell, "instructions", "ordinary", 1), ratio(cell, "instructions", "module", "minimal"),
    ratio(cell, "instructions", "minimal-again", "minimal")
}

# Sets worst, the greatest of the medians over a goal's places, the rounds' span there, and where that is.
function lookForWorst(mode, loadList, countList, figure, server, other,    l, n, ls, ns, lc, nc) {
  worst = 0
  lc = split(loadList, ls, " ")
  nc = split(countList, ns, " ")
  for (l = 1; l <= lc; l++) for (n = 1; n <= nc; n++) {
    if (!look(mode SUBSEP ls[l] SUBSEP ns[n], figure, server, other) || median <= worst) continue
    worst = median
    span = sprintf("%.2f–%.2f", least, most)
    where = ls[l] ", " ns[n]
  }
  return worst
}

# The median of a ratio over all places of a goal and all rounds.
function overAll(mode, loadList, countList, figure, server, other,    l, n, i, ls, ns, lc, nc, cell, count, list) {
  lc = split(loadList, ls, " ")
  nc = split(countList, ns, " ")
  for (l = 1; l <= lc; l++) for (n = 1; n <= nc; n++) for (i = 1; i <= rounds; i++) {
    cell = mode SUBSEP ls[l] SUBSEP ns[n]
    if (!((cell, figure, server, i) in value) || !((cell, figure, other, i) in value)) continue
    list[++count] = value[cell, figure, server, i] / value[cell, figure, other, i]
  }
  sortInto(list, count)
  return list[int((count + 1) / 2)]
}

# goal(WHAT, LIMIT, MODE, LOADS, SUBSCRIBERS, FIGURE, OTHER): the worst of the places' medians against the limit, and
# beside it what a minimal gives in the module's place.
function goal(what, limit, mode, loadList, countList, figure, other,    minimal, ofModule, text, verdict) {
  if (!lookForWorst(mode, loadList, countList, figure, "module", other)) return
  ofModule = worst
  text = sprintf("| %s | at most %s | %.2f (%s) at %s | %.2f |", what, limit, worst, span, where,
                 overAll(mode, loadList, countList, figure, "module", other))
  minimal = other == "minimal" ? "minimal-again" : "minimal"
  lookForWorst(mode, loadList, countList, figure, minimal, other)
  verdict = ofModule <= limit ? "met" : worst > limit && ofModule <= worst * 1.05 ? "as minimal" : "missed"
  printf "%s %.2f (%s) at %s | %.2f | %s |\n", text, worst, span, where,
    overAll(mode, loadList, countList, figure, minimal, other), verdict
}

function goals(    all) {
  all = "1 8 64 256 1000"
  print "\nThe goals, as ratios. Where one is for several loads and numbers of subscribers, *worst* is the greatest of the"
  print "medians and *over all* the median over all places and rounds. *Minimal instead* is the same figure with minimal, or"
  print "a second one, in the module's place: what the library or chance gives. A goal that is missed *as minimal* is within"
  print "1.05 of that.\n"
  print "| what | goal | worst | over all | minimal instead: worst | over all | |\n|---|---|---|--:|---|--:|---|"
  goal("CPU a message to minimal, closed loop", 1.05, "closed", "WS W64 WL", all, "cpu", "minimal")
  goal("CPU a message to minimal, paced", 1.05, "paced", "WS W64 WL", all, "cpu", "minimal")
  goal("CPU a message to ordinary, W64", 0.80, "closed", "W64", "64", "cpu", "ordinary")
  goal("CPU a message to ordinary, WL", 0.47, "closed", "WL", "64", "cpu", "ordinary")
  goal("CPU a message to nats-server, WL", 0.50, "closed", "WL", "64", "cpu", "nats-server")
  goal("CPU a message to nats-server, W64", 1.00, "closed", "W64", "64", "cpu", "nats-server")
  goal("CPU a message to floor, W64", 4.6, "closed", "W64", "64", "cpu", "floor")
  goal("engine thread held (p50) to minimal, closed loop", 1.05, "closed", "WS W64 WL", all, "held50", "minimal")
  goal("engine thread held (p50) to minimal, paced", 1.05, "paced", "WS W64 WL", all, "held50", "minimal")
  goal("user instructions a message to minimal", 1.03, "callgrind", "W64", "64", "instructions", "minimal")
  goal("memory a subscriber to minimal, idle", 1.05, "memory", "W64", "1000", "idle", "minimal")
  goal("memory a subscriber to minimal, streaming", 1.05, "memory", "W64", "1000", "streaming", "minimal")
  goal("latency p99 to minimal, closed loop", 1.05, "closed", "WS W64 WL", all, "latency99", "minimal")
  goal("latency p99 to minimal, paced", 1.05, "paced", "WS W64 WL", all, "latency99", "minimal")
}

function plotData(    i, n, l, q, qc, percents, cell) {
  qc = split("1 5 10 25 50 75 90 95 99 99.9", percents, " ")
  for (i = 1; i <= serverCount; i++) {
    for (l = 1; l <= loadCount; l++) for (n = 1; n <= subscriberCount; n++) {
      cell = "closed" SUBSEP loads[l] SUBSEP subscribers[n]
      if (look(cell, "cpu", servers[i], "")) {
        print subscribers[n], median / 1000, least / 1000, most / 1000 > (folder "/cost." loads[l] "." servers[i])
      }
    }
    for (q = 1; q <= qc; q++) {
      if (look("paced" SUBSEP "W64" SUBSEP 64, "latency" percents[q], servers[i], "")) {
        print median / 1000, percents[q] > (folder "/latency." servers[i])
      }
    }
  }
}

END {
  printf "Medians of %d rounds, with the least and the most.\n", rounds
  goals()
  table("CPU of the server for each delivered message, closed loop (µs):", "closed", "cpu", 1000)
  ratios("The module's, as a ratio; spread is what a second minimal gives to the first:", "closed", "cpu")
  table("The same, paced (µs):", "paced", "cpu", 1000)
  ratios("As a ratio:", "paced", "cpu")
  table("Engine's thread held for each event, closed loop, p50 (µs):", "closed", "held50", 1000)
  ratios("As a ratio:", "closed", "held50")
  table("The same, p99 (µs):", "closed", "held99", 1000)
  table("Engine's thread held for each event, paced, p50 (µs):", "paced", "held50", 1000)
  table("Latency from the event to the client, paced, p50 (µs):", "paced", "latency50", 1000)
  table("The same, p99 (µs):", "paced", "latency99", 1000)
  ratios("As a ratio:", "paced", "latency99")
  table("Share of the paced events that reached their subscribers:", "paced", "delivered", 1)
  memory()
  instructions()
  plotData()
}
