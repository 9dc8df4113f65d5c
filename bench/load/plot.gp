# Draws the curves: gnuplot -c plot.gp FOLDER PICTURE. FOLDER holds the CSV files of plinth_load.
folder = ARG1.'/'
set terminal svg size 900,1000 font 'sans-serif,12' background '#ffffff'
set output ARG2
set datafile separator comma
set logscale xy
set mxtics 1
set mytics 1
set grid xtics ytics lt 1 lc rgb '#dddddd' lw 1
set key left top samplen 2 spacing 1.1
set format x '%.0s%c'
set format y '%g'
set style data linespoints
set style line 1 lc rgb '#1f5fa8' lw 2 pt 7 ps 0.6
set style line 2 lc rgb '#999999' lw 2 pt 6 ps 0.6
set style line 3 lc rgb '#c2571a' lw 2 pt 5 ps 0.6
set style line 4 lc rgb '#3d8b40' lw 2 pt 9 ps 0.6
set multiplot layout 3,2 margins 0.07,0.98,0.06,0.96 spacing 0.08,0.09

set title 'Threads that trace at once: ns a record'
set xtics (1, 2, 4, 8, 16)
set xrange [1:16]
set yrange [50:20000]
plot folder.'threads.csv' using 'threads':'log_ns' title 'to the log' ls 1, \
     '' using 'threads':'spdlog_ns' title 'spdlog' ls 3, \
     '' using 'threads':'write_ns' title 'write(2)' ls 2, \
     '' using 'threads':'nowhere_ns' title 'no destination' ls 4

set title 'Old files in the log folder: us'
set xtics autofreq
set xrange [10:10000]
set yrange [0.1:1000000]
plot folder.'folder.csv' using 'files':'split_us' title 'split' ls 3, \
     '' using 'files':'open_us' title 'opening the log' ls 1, \
     '' using 'files':'readdir_us' title 'reading the names' ls 2, \
     '' using 'files':(column('record_ns') / 1000) title 'a record' ls 4

set title 'Timers running: us of processor for a firing'
set xrange [1:1000]
set yrange [0.1:100]
set key right top
plot folder.'timers_multimedia.csv' using 'timers':'firing_us' title 'multimedia' ls 1, \
     folder.'timers_message.csv' using 'timers':'firing_us' title 'message' ls 4, \
     folder.'timers_multimedia.csv' using 'timers':'peer_firing_us' title 'timerfd, epoll' ls 2, \
     folder.'timers_thread.csv' using 'timers':'firing_us' title 'a thread each' ls 3

set title 'Timers running: us for setting one more'
set key left top
set yrange [0.1:100]
plot folder.'timers_multimedia.csv' using 'timers':'set_us' title 'multimedia' ls 1, \
     folder.'timers_message.csv' using 'timers':'set_us' title 'message' ls 4, \
     folder.'timers_multimedia.csv' using 'timers':'peer_set_us' title 'timerfd' ls 2, \
     folder.'timers_thread.csv' using 'timers':'set_us' title 'a thread each' ls 3

set title 'Transfers in flight: ns for a block of 4 KiB'
set yrange [100:10000]
plot folder.'transfers.csv' using 'transfers':'block_ns' title 'QV\_ReadFile' ls 1, \
     '' using 'transfers':'pread_ns' title 'threads with pread(2)' ls 2

set title 'List view rows: ns'
set xrange [1000:1000000]
set yrange [10:10000]
plot folder.'rows.csv' using 'rows':'add_ns' title 'adding one' ls 1, \
     '' using 'rows':'deque_add_ns' title 'to a deque' ls 2, \
     '' using 'rows':'read_ns' title 'reading one' ls 3, \
     '' using 'rows':'deque_read_ns' title 'from a deque' ls 4
unset multiplot
