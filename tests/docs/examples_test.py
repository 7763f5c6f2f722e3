#!/usr/bin/python3
"""Every tarnwick-cli command the documents show, run as written.

examples_test.py BUILD_DIR SOURCE_DIR

Takes the commands from the README's code blocks, the manual's indented
example lines and the EXAMPLES of both manual pages (as man renders them),
runs each block of them in a sandbox of its own (a copy of the program
directory, HOME and the XDG folders inside it, the files the examples name
made beforehand), and checks the exit status, the output the README shows
after a "$ command", and the messages the documents quote.

A line that looks like an example and is neither run nor named below as not
run fails the test: a new example is run, or its reason to be left out is
written here.
"""
import concurrent.futures, json, os, re, shlex, shutil, subprocess, sys, tempfile, time

# Checks that fail today because the program, not the document, is wrong.
# Each passes when the program is fixed; it must then leave this list (an
# expectation here that passes fails the test, so the list cannot go stale).
KNOWN_FAILURES = {
}

# Examples that are not run, by their first words, and why.
NOT_RUN = {
    'make': 'builds, tests, installs or packages the source tree (the package and install tests do that)',
    'sudo apt-get install': 'installs the Debian package as root (the package test does that)',
    'sudo cpupower': "sets the machine's frequency governor, as root",
    'tarnwick': 'the window (the end-to-end tests start it)',
    'cd build && ./tarnwick': 'the window, from a build folder (the end-to-end tests start it)',
    'ansible-playbook': 'plays over SSH on an inventory of hosts (the fleet tests play it over loopback)',
    'ansible-galaxy': 'installs the Ansible collection (the fleet tests build it)',
    'ctest': "runs the project's own tests",
    'cmake --workflow': "builds a tree and runs its tests (make test does, through the same presets)",
    'build/tests/unit_tests': "runs the project's own tests",
    'tests/gui/run_gui_tests.sh': "runs the project's own tests",
    'ln -s /mnt/lab/cpu_results.csv cpu_results.csv': "links the window's table to a lab's drive; no tarnwick-cli",
}

# Examples run with a stand-in for a program that reaches other machines.
STAND_INS = {
    'ssh': 'ssh HOST COMMAND runs COMMAND here, in HOME, as the remote shell would',
    'srun': "srun OPTIONS... COMMAND runs COMMAND once, here, as one node would",
}
PRELUDE = '''
ssh() { while [ "${1#-}" != "$1" ]; do shift; done; shift; (cd ~ && eval "$*"); }
srun() { while [ "${1#-}" != "$1" ]; do shift; done; "$@"; }
'''

# Examples run as written, by their first word.
RUN = {'tarnwick-cli', 'mkdir'} | set(STAND_INS)

# Manual lines that look like examples but are not.
NOT_EXAMPLES = {
    'tarnwick                       the program': 'a row of the files overview',
}

# The manual's table of commands shows operands as placeholders; they are
# run with files the sandbox has.
PLACEHOLDERS = [
    ('--output FILE.html [DOCUMENT...]', '--output page.html lab-1.json lab-2.json lab-3.json'),
    ('FILE...', 'hostA.csv hostB.csv'),
    ('DOCUMENT...', 'lab-1.json lab-2.json lab-3.json'),
]

# A run shortened: speed, power, record and heat without --seconds are given
# --seconds 1, the least the runner takes (heat --minutes and record --heat
# then last that second too). A --seconds the document gives is kept, as the
# output it shows depends on it.
MEASURING = {'speed', 'power', 'record', 'heat'}
SHORTEST = '1'

# Outputs the documents quote, checked in the run of the example they belong
# to: (name, document, words in the document, example, stream or file:NAME of
# a --results table, words in the output or a pattern).
QUOTED = [
    ('the verdict line', 'doc/manual_tarnwick.txt', 'tarnwick-cli prints the same line',
     'tarnwick-cli speed', 'stdout', re.compile(r'^This run: (\d+ one-second samples, )?spread \d+\.\d %', re.M)),
    ('the heat summary', 'doc/manual_tarnwick.txt', 'ends with the highest temperature and the lowest frequency',
     'tarnwick-cli heat --minutes 10', 'stdout',
     re.compile(r'^Heat test: .*(highest temperature \d+ °C|no temperature sensor answered), '
                r'lowest frequency \d+\.\d\d GHz$', re.M)),
    ('a document to standard output', 'doc/manual_tarnwick.txt',
     '"tarnwick-cli record --save -" writes the document to standard output (the record line then goes to '
     'standard error)', 'ssh lab-7 tarnwick-cli record --save - | tarnwick-cli merge -', 'stdout',
     '1 added, 0 already present, 0 refused'),
    ('the record line to standard error', 'doc/manual_tarnwick.txt', '(the record line then goes to standard error)',
     'ssh lab-7 tarnwick-cli record --save - | tarnwick-cli merge -', 'stderr',
     re.compile(r'^[^;\n]+;[^;\n]+(;[^;\n]*){9};yes$', re.M)),
    ('fleet names each host', 'README.md', "each model followed by its host (`AMD EPYC [web-01]`)",
     'tarnwick-cli fleet *.json --results fleet.csv', 'file:fleet.csv',
     re.compile(r'^AMD;AMD EPYC \[node-1\];', re.M)),
    ('merge summary', 'doc/manual_tarnwick.txt', '"3 added, 1 already present,\n1 refused"',
     'tarnwick-cli merge hostA.csv hostB.csv', 'stdout', '3 added, 1 already present, 1 refused'),
    ('table made from the template', 'doc/manual_tarnwick.txt',
     '"tarnwick-cli: .../cpu_results.csv was created from the template\n.../doc/cpu_results_original.csv"',
     'tarnwick-cli results', 'stderr',
     re.compile(r'^tarnwick-cli: /\S*/cpu_results\.csv was created from the template '
                r'/\S*/doc/cpu_results_original\.csv$', re.M)),
    ('maker before model', 'doc/manual_tarnwick.txt', '"AMD AMD EPYC @ 2596 MHz"',
     'tarnwick-cli results', 'stdout', 'AMD AMD EPYC @ 2596 MHz'),
    ('a missing folder is named', 'doc/manual_tarnwick.txt',
     'tarnwick-cli: /mnt/lab/cpu_results.csv could not be made: the\n      folder /mnt/lab does not exist',
     'tarnwick-cli record --append --results /mnt/lab/cpu_results.csv', 'stderr',
     'tarnwick-cli: /mnt/lab/cpu_results.csv could not be made: the folder /mnt/lab does not exist'),
    ('quiet keeps the verdict', 'tarnwick-cli --help', '--quiet no progress line',
     'tarnwick-cli record --quiet --host web-01 --save web-01.json', 'stderr', 'Speed test. This run:'),
]

# Exit statuses other than 0 that an example may end with, and why.
def allowed_status(command, status, out):
    if '/mnt/lab/' in command and not os.path.exists('/mnt/lab'):
        return status == 1, 'status 1: /mnt/lab, the lab\'s drive, is not mounted here'
    if ' fleet ' in f' {command} ' and status == 5:
        return 'Flagged:' in out, 'status 5: fleet flagged a host (a shortened run is too short to judge)'
    if '--strict' in command and status == 3:
        return 'too short to judge' in out, 'status 3: --strict, and a shortened run is too short to judge'
    return status == 0, 'status 0'


failures, passes, known = [], 0, []
SOURCE = None


def check(ok, name, detail=''):
    global passes
    if name in KNOWN_FAILURES:
        if ok:
            failures.append(name)
            print(f'FAIL: {name}: passes now; take it out of KNOWN_FAILURES')
        else:
            known.append(name)
            print(f'known failure: {name}: {KNOWN_FAILURES[name]}')
        return
    if ok:
        passes += 1
        print('ok:', name)
    else:
        failures.append(name)
        print('FAIL:', name, detail)


def first_words(command, table):
    """The key of table that command starts with (whole words), or None."""
    for key in sorted(table, key=len, reverse=True):
        if command == key or command.startswith(key + ' '):
            return key
    return None


def classify(command):
    """('run' | 'stand-in' | 'not run' | None, reason)."""
    key = first_words(command, NOT_RUN)
    if key:
        return 'not run', NOT_RUN[key]
    word = command.split()[0]
    if word in STAND_INS:
        return 'stand-in', STAND_INS[word]
    if word in RUN:
        return 'run', ''
    return None, ''


def readme_blocks(path):
    """[(where, [(command, shown output lines or None)])] of the README's code
    blocks; in a block of "$ command" lines, the lines after one are its output."""
    blocks, lines = [], open(path, encoding='utf-8').read().split('\n')
    k = 0
    while k < len(lines):
        if not lines[k].startswith('```'):
            k += 1
            continue
        start = k + 1
        end = next((j for j in range(start, len(lines)) if lines[j].startswith('```')), len(lines))
        body = [line for line in lines[start:end] if line.strip()]
        k = end + 1
        examples = []
        transcript = any(line.startswith('$ ') for line in body)
        for line in body:
            if transcript and line.startswith('$ '):
                examples.append((line[2:].strip(), []))
            elif transcript and examples:
                examples[-1][1].append(line)
            else:
                command = re.sub(r'(^|\s+)#\s.*$', '', line).strip()
                if command:  # a line of comment alone goes on the one above
                    examples.append((command, None))
        if examples:
            blocks.append((f'README.md:{start}', examples))
    return blocks


COMMAND_WORD = re.compile(r'(\./)?[a-z][a-z0-9.-]*(/[\w.-]+)*$')
TARNWICK = re.compile(r'(\./)?tarnwick(-cli)?$')


def manual_blocks(path):
    """[(where, [(command, None)])]: indented lines that start with a command,
    in blocks that no blank line divides; a line ending in a backslash goes on.
    A command is a program this test knows, one named tarnwick..., or any
    word that starts a line naming tarnwick-cli set off as an example (after
    a blank line or a colon)."""
    lines = open(path, encoding='utf-8').read().split('\n')
    blocks, current = [], None
    k = 0
    while k < len(lines):
        line = lines[k]
        text = line.strip()
        before = lines[k - 1].strip() if k > 0 else ''
        k += 1
        if not line.startswith('  ') or not text:
            if not text:
                current = None
            continue
        word = text.split()[0]
        if not COMMAND_WORD.match(word):
            continue
        set_off = not before or before.endswith(':')
        if classify(text)[0] is None and not TARNWICK.match(word) and not ('tarnwick-cli' in text and set_off):
            continue
        if text in NOT_EXAMPLES:
            continue
        command = re.split(r' {2,}', text)[0]
        while command.endswith('\\') and k < len(lines):
            command += '\n' + lines[k].strip()
            k += 1
        if current is None:
            current = (f'manual_tarnwick.txt:{k}', [])
            blocks.append(current)
        current[1].append((command, None))
    return blocks


def man_blocks(build):
    """[(where, [(command, None)])]: each page's EXAMPLES as man shows them."""
    blocks = []
    for page in ('tarnwick-cli', 'tarnwick'):
        env = dict(os.environ, LC_ALL='C.UTF-8', MANWIDTH='250')
        rendered = subprocess.run(['man', '-E', 'UTF-8', '-l', f'{build}/man/{page}.1'], env=env,
                                  capture_output=True, text=True, check=True).stdout
        rendered = re.sub(r'.\x08', '', rendered)
        section = re.search(r'^EXAMPLES\n(.*?)^\S', rendered, re.S | re.M)
        check(section is not None, f'man {page}.1 has EXAMPLES')
        if section is None:
            continue
        examples = [(line.strip(), None) for line in section.group(1).split('\n')
                    if re.match(r' {7}\S', line)]
        check(bool(examples), f'man {page}.1 shows examples')
        # Each example as its source writes it: roff reads quotes in a
        # macro's line as its own, and would drop them.
        source = open(f'{build}/man/{page}.1', encoding='utf-8').read()
        source = source[source.index('.SH EXAMPLES'):]
        source = source[:source.index('\n.SH', 1)]
        shown = {command for command, _ in examples}
        for line in source.split('\n'):
            if line.startswith('.B '):
                written = line[3:].replace('\\-', '-').replace('\\e', '\\').replace('\\&', '')
                check(written in shown, f'man {page}.1 shows: {written}', 'shown: ' + '; '.join(sorted(shown)))
        blocks.append((f'man {page}.1', examples))
    return blocks


def table_line(fields, **changes):
    names = ['maker', 'model', 'rated', 'maximum', 'processors', 'cores', 'logical', 'os', 'version',
             'speed', 'power', 'display']
    values = list(fields)
    for name, value in changes.items():
        values[names.index(name)] = str(value)
    return ';'.join(values)


def make_sandbox_template(build, root):
    """The program directory and the files the examples name."""
    prog, home = f'{root}/prog', f'{root}/home'
    os.makedirs(prog)
    shutil.copy2(f'{build}/tarnwick-cli', prog)
    shutil.copytree(f'{build}/doc', f'{prog}/doc')
    template = [line.split(';') for line in
                open(f'{build}/doc/cpu_results_original.csv', encoding='utf-8').read().splitlines() if line]
    for folder in ('.config', '.cache', '.local/share/tarnwick', '.local/state', 'lab', 'fleet'):
        os.makedirs(f'{home}/{folder}')
    os.makedirs(f'{root}/run', mode=0o700)

    def write(name, lines):
        with open(f'{home}/{name}', 'w', encoding='utf-8') as out:
            out.write(''.join(line + '\n' for line in lines))

    # merge hostA.csv hostB.csv: "3 added, 1 already present, 1 refused".
    write('hostA.csv', [';'.join(template[0]), table_line(template[0], model='Host A one', speed=5001),
                        table_line(template[1], model='Host A two', speed=9001)])
    write('hostB.csv', [table_line(template[0], model='Host B', speed=5002),
                        table_line(template[0], model='Host B bad', speed='1,5')])
    write('other.csv', [';'.join(fields) for fields in template] + [table_line(template[1], model='Other')])
    write('lab.csv', [';'.join(fields) for fields in template])
    # An installed copy's table, as ssh hostC cat reads it.
    write('.local/share/tarnwick/cpu_results.csv',
          [';'.join(fields) for fields in template] + [table_line(template[2], model='Host C', speed=9002)])
    make = f'{build}/tests/make_documents'
    for folder, seed in (('lab', 11), ('fleet', 12), ('.', 13)):
        subprocess.run([make, f'{home}/{folder}', '3', '--seed', str(seed)], check=True)
    for n in (1, 2, 3):
        os.rename(f'{home}/node-{n}.json', f'{home}/lab-{n}.json')

    # tarnwick-cli on the PATH: the program, its run shortened.
    os.makedirs(f'{root}/bin')
    with open(f'{root}/bin/tarnwick-cli', 'w') as out:
        out.write(f'#!/bin/sh\nexec /usr/bin/python3 {shlex.quote(os.path.abspath(__file__))} --stand-in '
                  f'"$TARNWICK_EXAMPLES_ROOT" "$@"\n')
    os.chmod(f'{root}/bin/tarnwick-cli', 0o755)


def valued_options(cli):
    """The options that take a value, as --help lists them."""
    help_text = subprocess.run([cli, '--help'], capture_output=True, text=True).stdout
    return sorted(set(re.findall(r'^ +(--[a-z-]+) [A-Z]', help_text, re.M)))


def stand_in(root, args):
    """Runs the sandbox's program with args, a measuring run shortened; says
    which rewrite it made in ROOT/rewrites."""
    valued = os.environ['TARNWICK_EXAMPLES_VALUED'].split()
    command, k = None, 0
    while k < len(args):
        if args[k] in valued:
            k += 1
        elif not args[k].startswith('-') and command is None:
            command = args[k]
        k += 1
    if command in MEASURING and not any(a == '--seconds' or a.startswith('--seconds=') for a in args):
        args = args + ['--seconds', SHORTEST]
        with open(f'{root}/rewrites', 'a') as log:
            log.write(f'{command}: added --seconds {SHORTEST} (a full-length run)\n')
    os.execv(f'{root}/prog/tarnwick-cli', [f'{root}/prog/tarnwick-cli'] + args)


def words(line, numbers):
    tokens = line.split()
    return [re.sub(r'\d+(\.\d+)?', '#', t) for t in tokens] if numbers else tokens


def shows(shown, output, measured):
    """Whether output has a line that begins as shown does and has its words,
    in order; numbers are any numbers where the run measured."""
    want = words(shown, measured)
    for line in output.splitlines():
        have = words(line, measured)
        if not have or have[:2] != want[:2]:
            continue
        k = 0
        for token in have:
            if k < len(want) and token == want[k]:
                k += 1
        if k == len(want):
            return True
    return False


def run_block(template, valued, examples):
    """Runs a block's examples in order in a sandbox of its own:
    [(command, shown output, kind, reason, result or None when not run)]."""
    root = tempfile.mkdtemp(prefix='tarnwick-examples-')
    try:
        shutil.copytree(template, root, dirs_exist_ok=True, symlinks=True)
        home = f'{root}/home'
        env = {'PATH': f'{root}/bin:/usr/bin:/bin', 'HOME': home, 'LANG': 'C.UTF-8', 'LC_ALL': 'C.UTF-8',
               'XDG_CONFIG_HOME': f'{home}/.config', 'XDG_CACHE_HOME': f'{home}/.cache',
               'XDG_DATA_HOME': f'{home}/.local/share', 'XDG_STATE_HOME': f'{home}/.local/state',
               'XDG_RUNTIME_DIR': f'{root}/run', 'TMPDIR': f'{root}/run',
               'TARNWICK_EXAMPLES_ROOT': root, 'TARNWICK_EXAMPLES_VALUED': ' '.join(valued)}
        results = []
        for command, shown in examples:
            kind, reason = classify(command)
            if '/mnt/lab' in command and os.path.exists('/mnt/lab'):
                kind, reason = 'not run', "/mnt/lab exists here, and the test writes into no real lab's drive"
            written = command
            for placeholder, files in PLACEHOLDERS:
                written = written.replace(placeholder, files)
            if kind not in ('run', 'stand-in'):
                results.append((command, shown, kind, reason, None))
                continue
            if os.path.exists(f'{root}/rewrites'):
                os.remove(f'{root}/rewrites')
            started = time.monotonic()
            try:
                done = subprocess.run(['/bin/bash', '-c', PRELUDE + written], cwd=home, env=env,
                                      capture_output=True, text=True, timeout=90)
                result = {'status': done.returncode, 'stdout': done.stdout, 'stderr': done.stderr}
            except subprocess.TimeoutExpired:
                result = {'status': None, 'stdout': '', 'stderr': 'timed out after 90 s'}
            result['seconds'] = time.monotonic() - started
            result['rewrites'] = open(f'{root}/rewrites').read() if os.path.exists(f'{root}/rewrites') else ''
            if written != command:
                result['rewrites'] += f"placeholders replaced with the sandbox's files: {written}\n"
            result['files'] = {name: open(os.path.join(home, name), encoding='utf-8', errors='replace').read()
                               for name in tables_named(written) if os.path.isfile(os.path.join(home, name))}
            result['missing'] = [name for name in outputs_named(written) if not os.path.exists(
                home + name[1:] if name.startswith('~/') else os.path.join(home, name))]
            results.append((command, shown, kind, reason, result))
        return results
    finally:
        shutil.rmtree(root, ignore_errors=True)


def outputs_named(command):
    """The files a command line names as its outputs (not standard output)."""
    try:
        tokens = shlex.split(command.replace('\\\n', ' '))
    except ValueError:
        return []
    return [value for option, value in zip(tokens, tokens[1:])
            if option in ('--save', '--output', '--log', '--plot') and value != '-' and '$' not in value]


def tables_named(command):
    """The tables a command line names with --results."""
    try:
        tokens = shlex.split(command.replace('\\\n', ' '))
    except ValueError:
        return []
    return [value for option, value in zip(tokens, tokens[1:]) if option == '--results' and '~' not in value]


def display_claims(template):
    """The manual's word on records whose Display is "no": results lists them
    not, results --search does."""
    lines = open(f'{template}/home/lab.csv', encoding='utf-8').read().splitlines()
    hidden = table_line(lines[0].split(';'), model='Hidden Model', speed=99999, display='no')
    root = tempfile.mkdtemp(prefix='tarnwick-examples-')
    try:
        shutil.copytree(f'{template}/prog', f'{root}/prog')
        with open(f'{root}/prog/cpu_results.csv', 'w', encoding='utf-8') as out:
            out.write('\n'.join(lines + [hidden]) + '\n')
        cli = f'{root}/prog/tarnwick-cli'
        listed = subprocess.run([cli, 'results'], capture_output=True, text=True, cwd=root).stdout
        found = subprocess.run([cli, 'results', '--search', 'hidden'], capture_output=True, text=True,
                               cwd=root).stdout
    finally:
        shutil.rmtree(root, ignore_errors=True)
    manual = ' '.join(open(f'{SOURCE}/doc/manual_tarnwick.txt', encoding='utf-8').read().split())
    shipped = lines[0].split(';')
    check('Hidden Model' not in listed and f'{shipped[0]} {shipped[1]} @ {shipped[2]} MHz' in listed,
          'results leaves out a record whose Display is "no"', listed)
    check('Hidden Model' in found, 'results --search finds a record whose Display is "no"', found)
    check('the displayed results (Display "yes"), fastest first' in manual,
          'the manual says that results lists the displayed records only')


def build_folder_man(build):
    """man finds no page of a build folder by its name; the documents give
    the page's path, and that path works."""
    readme = ' '.join(open(f'{SOURCE}/README.md', encoding='utf-8').read().split())
    manual = ' '.join(open(f'{SOURCE}/doc/manual_tarnwick.txt', encoding='utf-8').read().split())
    env = dict(os.environ, LC_ALL='C.UTF-8', MANWIDTH='80', MANPAGER='cat', PAGER='cat')
    for document, text, shown, cwd in (
            ('README.md', readme, 'man -l build/man/tarnwick-cli.1', os.path.dirname(build)),
            ('the manual', manual, 'man -l man/tarnwick-cli.1', build)):
        check(f'(in a build folder: `{shown}`)' in text or f'(in a build folder: "{shown}")' in text,
              f'{document} says how to read the page in a build folder: {shown}')
        if os.path.basename(build) != 'build':
            shown = shown.replace('build/', os.path.basename(build) + '/')
        done = subprocess.run(shlex.split(shown), cwd=cwd, env=env, capture_output=True, text=True)
        check(done.returncode == 0 and 'tarnwick-cli - the Tarnwick processor tests' in done.stdout,
              f'{shown} shows the page', done.stderr)


def main():
    global SOURCE
    build, SOURCE = (os.path.abspath(a) for a in sys.argv[1:3])
    started = time.monotonic()
    valued = valued_options(f'{build}/tarnwick-cli')
    check('--seconds' in valued and '--results' in valued, 'the options that take a value, from --help',
          ' '.join(valued))
    blocks = readme_blocks(f'{SOURCE}/README.md') + manual_blocks(f'{SOURCE}/doc/manual_tarnwick.txt') + \
        man_blocks(build)
    template = tempfile.mkdtemp(prefix='tarnwick-examples-template-')
    try:
        make_sandbox_template(build, template)
        with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
            futures = [(where, pool.submit(run_block, template, valued, examples))
                       for where, examples in blocks]
            display_claims(template)
            build_folder_man(build)
            ran = [(where, future.result()) for where, future in futures]
    finally:
        shutil.rmtree(template, ignore_errors=True)

    outputs = {}
    for where, results in ran:
        print(f'--- {where}')
        for command, shown, kind, reason, result in results:
            name = f'{where}: {command}'
            if kind is None:
                check(False, name, 'an example this test cannot classify: run it (RUN, STAND_INS) or say '
                                   'why not (NOT_RUN, NOT_EXAMPLES)')
                continue
            if kind == 'not run':
                print(f'not run: {name}: {reason}')
                continue
            if kind == 'stand-in':
                print(f'stand-in: {name}: {reason}')
            for rewrite in result['rewrites'].splitlines():
                print(f'  rewritten: {rewrite}')
            out = result['stdout'] + result['stderr']
            ok, why = allowed_status(command, result['status'], out)
            check(ok, name if name in KNOWN_FAILURES else f'{name}: {why}',
                  f"status {result['status']}\n{out}")
            outputs.setdefault(command, []).append(result)
            measured = bool(result['rewrites']) or '--seconds' in command
            if ok:
                check(not result['missing'], f'{name}: writes what it names',
                      'missing: ' + ' '.join(result['missing']))
            if ok and '--json' in command.split():
                try:
                    parsed = json.loads(result['stdout'])
                except ValueError:
                    parsed = None
                check(isinstance(parsed, dict), f'{name}: prints one JSON object', result['stdout'])
            for line in shown or []:
                check(shows(line, out, measured), f'{name}: shows "{line}"', out)

    for name, document, quoted, command, stream, expected in QUOTED:
        if document == 'tarnwick-cli --help':
            text = subprocess.run([f'{build}/tarnwick-cli', '--help'], capture_output=True, text=True).stdout
        else:
            text = open(f'{SOURCE}/{document}', encoding='utf-8').read()
        flat = ' '.join(quoted.split())
        check(flat in ' '.join(text.split()), f'{document} says {flat}')
        runs = outputs.get(command, [])
        if not runs and '/mnt/lab' in command and os.path.exists('/mnt/lab'):
            print(f'not run: {name}: /mnt/lab exists here')
            continue
        check(bool(runs), f'{name}: the documents show {command}')
        if runs:
            found = (lambda text: expected in text) if isinstance(expected, str) else expected.search
            texts = [run['files'].get(stream[5:], '') if stream.startswith('file:') else run[stream] for run in runs]
            check(all(found(text) for text in texts), name, '\n'.join(texts))

    elapsed = time.monotonic() - started
    print(f'{passes} checks passed, {len(known)} known failures, {len(failures)} failed, {elapsed:.0f} s')
    if failures:
        print('failed:\n  ' + '\n  '.join(failures))
        return 1
    return 0


if __name__ == '__main__':
    if len(sys.argv) > 2 and sys.argv[1] == '--stand-in':
        stand_in(sys.argv[2], sys.argv[3:])
    if len(sys.argv) != 3:
        print('usage: examples_test.py BUILD_DIR SOURCE_DIR', file=sys.stderr)
        sys.exit(2)
    sys.exit(main())
