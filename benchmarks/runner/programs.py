"""Runs the benchmark programs and the servers that some of them need, and gives what was measured as plain dictionaries."""
import contextlib
import json
import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = ROOT / 'build/release/benchmarks'
OUT = ROOT / 'build/bench'
NANOSECONDS = {'ns': 1, 'us': 1e3, 'ms': 1e6, 's': 1e9}


class Lacking(Exception):
  """Something that a row needs can't be had; the text says what."""


def run(command, **options):
  """What a command printed; its words when it fails."""
  done = subprocess.run([str(word) for word in command], capture_output=True, text=True, **options)
  if done.returncode != 0:
    raise Lacking(f'{pathlib.Path(command[0]).name} failed: {(done.stderr or done.stdout).strip()[-300:]}')
  return done


def google(program, pattern, repetitions, seconds):
  """By benchmark the best of its repetitions: nanoseconds "real" and "cpu", bytes_per_second and counters."""
  done = run([PROGRAMS / program, f'--benchmark_filter={pattern}', f'--benchmark_repetitions={repetitions}',
              f'--benchmark_min_time={seconds}', '--benchmark_enable_random_interleaving=true', '--benchmark_format=json'])
  (OUT / (re.sub(r'\W+', '-', f'{pathlib.Path(program).name} {pattern}').strip('-') + '.json')).write_text(done.stdout)
  best = {}
  for record in json.loads(done.stdout)['benchmarks']:
    if record['run_type'] != 'iteration':
      continue
    name = re.sub('/(real_time|process_time|iterations:[0-9]+)', '', record['run_name'])
    if record.get('error_occurred'):
      raise Lacking(f'{name}: {record["error_message"]}')
    unit = NANOSECONDS[record['time_unit']]
    seen = best.setdefault(name, {'real': float('inf'), 'cpu': float('inf'), 'bytes_per_second': 0})
    seen['real'] = min(seen['real'], record['real_time'] * unit)
    seen['cpu'] = min(seen['cpu'], record['cpu_time'] * unit)
    for key in ('bytes_per_second', 'requests', 'docs', 'MiB'):
      if key in record:
        seen[key] = max(seen.get(key, 0), record[key])
  return best


def instructions(command, few, many):
  """Instructions of one round: what callgrind counts for many rounds less what it counts for few, by round. The command
  gets the count of rounds as its last word."""
  def count(rounds):
    done = run(['valgrind', '--tool=callgrind', '--callgrind-out-file=/dev/null', *command, rounds])
    return int(re.search(r'Collected : (\d+)', done.stderr)[1])
  return (count(many) - count(few)) / (many - few)


@contextlib.contextmanager
def serving(command):
  """A program that serves until its input ends; gives the first line that it prints."""
  server = subprocess.Popen([str(word) for word in command], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
  try:
    line = server.stdout.readline().strip()
    if not line:
      raise Lacking(f'{pathlib.Path(command[0]).name} did not start')
    yield line
  finally:
    server.stdin.close()
    server.wait()


def measured(command):
  """What river_loop and its peer in Node.js print."""
  try:
    return json.loads(run(command, timeout=1800).stdout)
  except subprocess.TimeoutExpired as reason:
    raise Lacking(f'{command[0]} came to no end') from reason


def cpu_seconds(pid):
  """Processor time that a process has used so far."""
  fields = pathlib.Path(f'/proc/{pid}/stat').read_text().rpartition(')')[2].split()
  ticks = int(run(['getconf', 'CLK_TCK']).stdout)
  return (int(fields[11]) + int(fields[12])) / ticks
