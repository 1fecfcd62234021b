# Draws DIR/cost.LOAD.SERVER, DIR/held.W64.SERVER and DIR/latency.SERVER, as the report writes them, into the folder IMAGES.
# Use: gnuplot -e "folder='DIR'; images='IMAGES'" plots.gnuplot
set terminal svg size 720,440 font 'sans,13' background rgb 'white'
servers = "module minimal ordinary floor mosquitto nats-server redis-server"
colours = "#d62728 #1f77b4 #ff7f0e #7f7f7f #2ca02c #9467bd #8c564b"
array loads[3] = ["WS", "W64", "WL"]
array titles[3] = ["8 floats", "64 entries of 8 floats, 4 KB", "512 entries of 32 floats, 77 KB"]

set logscale x
set xtics (1, 8, 64, 256, 1000)
set xlabel 'subscribers'
set ylabel 'server CPU for each message, µs'
set grid ytics
set logscale y
set key outside right
do for [l = 1:3] {
  set output sprintf('%s/cost-%s.svg', images, loads[l])
  set title titles[l].', paced'
  plot for [i = 1:words(servers)] sprintf('%s/cost.%s.%s', folder, loads[l], word(servers, i)) \
    using 1:2:3:4 with yerrorlines linewidth (i == 1 ? 3 : 1.5) pointtype 7 pointsize 0.5 \
    linecolor rgb word(colours, i) title word(servers, i)
}

set output sprintf('%s/held-W64.svg', images)
set title titles[2].", paced"
set ylabel "engine's thread held for each event, µs"
plot for [i = 1:words(servers)] sprintf('%s/held.W64.%s', folder, word(servers, i)) \
  using 1:2:3:4 with yerrorlines linewidth (i == 1 ? 3 : 1.5) pointtype 7 pointsize 0.5 \
  linecolor rgb word(colours, i) title word(servers, i)

set output sprintf('%s/latency-W64.svg', images)
set title 'W64, 64 subscribers, 50 events a second'
set xlabel 'latency from the event to the client, µs'
set ylabel 'share of the messages that came by then, %'
set xtics autofreq
unset logscale y
set yrange [0:100]
plot for [i = 1:words(servers)] sprintf('%s/latency.%s', folder, word(servers, i)) \
  using 1:2 with linespoints linewidth (i == 1 ? 3 : 1.5) pointtype 7 pointsize 0.4 \
  linecolor rgb word(colours, i) title word(servers, i)
