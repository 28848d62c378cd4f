# Draws docs/performance.svg from the figures of scripts/bench. Each bar is rabbitmq-c's time for a case, divided by the
# library's time. Run from the project's folder.
results = 'build/bench/results.tsv'
set datafile separator '\t'
set terminal svg size 900, 1200 noenhanced font 'sans-serif,11' background 'white'
set output 'docs/performance.svg'
set title 'The speed of the library, where rabbitmq-c alone is 1'
set style fill solid 0.8 noborder
set yrange [*:*] reverse
set xrange [0:6]
set xtics 1
set grid xtics
set arrow from 1, graph 0 to 1, graph 1 nohead lc rgb '#444444' lw 1.5 front
set lmargin 46
set key at graph 0.98, graph 0.02 right bottom
half = 0.38
limit(x) = x > 6 ? 6 : x
plot results every ::1 using (limit($5) / 2):0:(limit($5) / 2):(half):yticlabels(strcol(1) . ': ' . strcol(2)) \
         with boxxyerror lc rgb '#3b6ea5' title 'measured, up to 6', \
     results every ::1 using (strcol(6) eq '-' ? NaN : $6):0:(half) with yerrorbars pt 0 lw 2 lc rgb '#c0392b' \
         title 'target'
