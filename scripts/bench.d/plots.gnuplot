# Draws the plots of scripts/bench --report.
#   gnuplot -c plots.gnuplot FOLDER CAPTION
# FOLDER holds a .tsv for each run, of points "series, x, y"; the plots go to FOLDER/plots.

folder = ARG1
set datafile separator tab
set terminal svg size 860,440 dynamic background rgb "white" font "sans,13"
set label 1 ARG2 at screen 0.012,0.025 font "sans,10" textcolor rgb "#666666"
set bmargin at screen 0.2
set grid linecolor rgb "#dddddd" linetype 1
set key top left
set style line 1 linecolor rgb "#0b6e99" linewidth 2.5 pointtype 7 pointsize 0.6
set style line 2 linecolor rgb "#d9730d" linewidth 2.5 pointtype 7 pointsize 0.6
set style line 3 linecolor rgb "#8a8a8a" linewidth 2.5 pointtype 7 pointsize 0.6
set style line 4 linecolor rgb "#d9730d" linewidth 2.5 pointtype 7 pointsize 0.6 dashtype 2
set style line 5 linecolor rgb "#0b6e99" linewidth 2.5 pointtype 7 pointsize 0.6 dashtype 2

rows(run, series) = sprintf("< awk -F'\\t' '$1 == \"%s\"' '%s/%s.tsv'", series, folder, run)
svg(name) = sprintf("%s/plots/%s.svg", folder, name)

set output svg("latency")
set multiplot layout 1,2
set xlabel "ms after parec's median" offset 0,0.5
set ylabel "% of the impulses have arrived"
set key bottom right
set xrange [-12:12]
set yrange [0:100]
set title "PulseAudio"
plot rows("latency-pulseaudio", "zevra") using 2:3 with lines linestyle 1 title "zevra", \
     rows("latency-pulseaudio", "parec") using 2:3 with lines linestyle 2 title "parec"
unset label 1
set title "PipeWire"
plot rows("latency-pipewire", "zevra") using 2:3 with lines linestyle 1 title "zevra", \
     rows("latency-pipewire", "parec") using 2:3 with lines linestyle 2 title "parec"
unset multiplot
set label 1 ARG2 at screen 0.012,0.025 font "sans,10" textcolor rgb "#666666"
set xrange [*:*]

set output svg("processor-time")
set title "A capturing process on PulseAudio: 48 kHz float stereo to 16 kHz 16-bit mono (parec: as it is)"
unset xlabel
set ylabel "ms of processor time a second"
set yrange [0:*]
set key top left
set style data histograms
set style histogram clustered gap 1
set style fill solid
set boxwidth 0.9
set xtics ("zevra" 0, "parec" 1, "ffmpeg" 2)
plot for [i=1:4] rows("capture_cost-pulseaudio", word("'At the same time, whole process' 'At the same time, steady' 'One after the other, whole process' 'One after the other, steady'", i)) \
     using 3 linecolor rgb word("#0b6e99 #7fb8d1 #d9730d #f0b580", i) \
     title word("'at the same time, whole process' 'at the same time, steady' 'one after the other, whole process' 'one after the other, steady'", i)

set output svg("streams")
set title "Captures at once in one process, 48 kHz mono"
set xtics (1, 2, 4, 8, 16, 32, 64)
set logscale x 2
set xrange [0.9:72]
set xlabel "streams" offset 0,0.5
set ylabel "ms of processor time a stream and second"
unset key
plot rows("captures_bench-pulseaudio", "zevra") using 2:3 with linespoints linestyle 1

set output svg("log")
set title "A line in a log file, by the threads that write at once: time passed over lines of all threads"
set xtics (1, 2, 4, 8)
set xrange [0.9:9]
set xlabel "threads" offset 0,0.5
set ylabel "ns a line"
set key outside right top
plot rows("log_bench-pulseaudio", "WriteZevra/flush") using 2:3 with linespoints linestyle 1 title "zevra, each line flushed", \
     rows("log_bench-pulseaudio", "WriteZevra/plain") using 2:3 with linespoints linestyle 5 title "zevra, not flushed", \
     rows("log_bench-pulseaudio", "WriteSpdlog/flush") using 2:3 with linespoints linestyle 2 title "spdlog, each line flushed", \
     rows("log_bench-pulseaudio", "WriteSpdlog/plain") using 2:3 with linespoints linestyle 4 title "spdlog, not flushed"
unset logscale x
set xrange [*:*]

set output svg("resampler")
set terminal svg size 1100,440 dynamic background rgb "white" font "sans,13"
set multiplot layout 1,3
set xtics auto
set ylabel "dB"
set xlabel "tone, as a share of the lower rate" offset 0,0.5
set title "Gain, 48 to 16 kHz"
set yrange [-12:1]
set key inside bottom left
curves = "'zevra' 'soxr HQ' 'libswresample'"
plot for [i=1:3] rows("quality-pulseaudio", word(curves, i) . " gain") using 2:3 with lines linestyle i title word(curves, i)
unset label 1
unset key
set yrange [-150:0]
set title "Images, 8 to 48 kHz"
plot for [i=1:3] rows("quality-pulseaudio", word(curves, i) . " images") using 2:3 with lines linestyle i
set title "Aliases, 48 to 16 kHz"
plot for [i=1:3] rows("quality-pulseaudio", word(curves, i) . " aliases") using 2:3 with lines linestyle i
unset multiplot
