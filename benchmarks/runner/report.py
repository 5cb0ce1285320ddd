"""The table and the plots of a run."""
import shutil
import subprocess
from collections import namedtuple

# One line of the table. "figure" is what was measured, in words; "met" is True, False, or None where there is no aim.
Row = namedtuple('Row', 'path beside figure aim met')

# A picture: series is {name: [y for each x]}.
Plot = namedtuple('Plot', 'name title xlabel ylabel xs series logarithmic')


def table(rows, lacking):
  words = {True: 'yes', False: '**no**', None: ''}
  lines = ['| Path | Beside | Figure | Aim | Met |', '| --- | --- | --- | --- | --- |']
  lines += [f'| {row.path} | {row.beside} | {row.figure} | {row.aim} | {words[row.met]} |' for row in rows]
  lines += [''] + [f'Left out: {reason}' for reason in lacking] if lacking else []
  return '\n'.join(lines) + '\n'


def draw(plots, folder):
  """How the plots were drawn: by matplotlib, by gnuplot, or not at all."""
  try:
    import matplotlib
    matplotlib.use('Agg')
    for plot in plots:
      draw_with_matplotlib(plot, folder)
    return 'matplotlib'
  except ImportError:
    pass
  if shutil.which('gnuplot') is None:
    return None
  for plot in plots:
    draw_with_gnuplot(plot, folder)
  return 'gnuplot'


def draw_with_matplotlib(plot, folder):
  from matplotlib import pyplot
  figure, axes = pyplot.subplots(figsize=(9, 5))
  for name, ys in plot.series.items():
    axes.plot([str(x) for x in plot.xs], ys, marker='o', label=name)
  axes.set(title=plot.title, xlabel=plot.xlabel, ylabel=plot.ylabel, yscale='log' if plot.logarithmic else 'linear')
  axes.legend()
  axes.grid(True)
  figure.savefig(folder / f'{plot.name}.png')
  pyplot.close(figure)


def draw_with_gnuplot(plot, folder):
  commands = [f'set terminal png size 900,500; set output "{plot.name}.png"; set grid; set key outside bottom',
              f'set title "{plot.title}"; set xlabel "{plot.xlabel}"; set ylabel "{plot.ylabel}"',
              'set xrange [-0.5:%s]' % (len(plot.xs) - 0.5),
              'set xtics (%s)' % ', '.join(f'"{x}" {place}' for place, x in enumerate(plot.xs))]
  if plot.logarithmic:
    commands.append('set logscale y')
  for number, ys in enumerate(plot.series.values()):
    commands += [f'$data{number} << EOD', *(f'{place} {y}' for place, y in enumerate(ys)), 'EOD']
  commands.append('plot ' + ', '.join(f'$data{number} using 1:2 with linespoints title "{name}"'
                                      for number, name in enumerate(plot.series)))
  subprocess.run(['gnuplot'], input='\n'.join(commands), text=True, cwd=folder, check=True)
