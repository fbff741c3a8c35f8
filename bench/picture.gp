# Draws FOLDER/performance-growth.svg from the data that bench/report.py takes out of the JSON:
#
#     gnuplot -c bench/picture.gp FOLDER

folder = ARG1
set encoding utf8
set terminal svg size 900,480 noenhanced font "sans-serif,13" background "white"
set output folder . "/performance-growth.svg"
set title "Reading a configuration file and looking up every variable of it"
set xlabel "variables"
set ylabel "microseconds per variable"
set logscale xy
set xtics ("31" 31, "100" 100, "310" 310, "1,000" 1000, "3,100" 3100)
set grid
set key top left
plot folder . "/growth.dat" using 1:($2 / $1) with linespoints linewidth 2 pointtype 7 \
        linecolor rgb "#3b76af" title "conf_read_file_r, a sorted table", \
     "" using 1:($3 / $1) with linespoints linewidth 2 pointtype 7 \
        linecolor rgb "#c23b22" title "ini_parse into a std::map"
