#!/usr/bin/python3
"""The report pages in headless Chromium, and through HTML Tidy.

report_browser_test.py TARNWICK_CLI MAKE_DOCUMENTS DOC_DIR [--screenshot OUT.png]

Builds a table's report and a five-host fleet's report and checks each: loads
with no error and no request, bars in rank order and colour (DOM and pixels),
no sideways scrolling at 390 px, the dark theme, hostile names shown as text,
pages when printed, valid HTML, no external reference.  With --screenshot it
only writes a picture of the fleet's report (for the README).
"""
import base64, glob, html.parser, json, os, re, shutil, subprocess, sys, tempfile, time, zlib

CHROMIUM, CHROMEDRIVER = '/usr/bin/chromium', '/usr/bin/chromedriver'
LIGHT = {'bar': (0x2e, 0x7d, 0x32), 'mine': (0xc2, 0x18, 0x5b)}
DARK = {'bar': (0x66, 0xbb, 0x6a), 'mine': (0xf4, 0x8f, 0xb1)}
HOSTILE_NAME, HOSTILE_BRAND = '<script>alert(1)</script>', '"><img src=x onerror=alert(2)>'
# Records added to the shipped table: (model, speed, power, display).
ADDED = [('Core i7-8700', 7412, 21544, 'yes'), (HOSTILE_NAME, 8123, 25410, 'yes'),
         ('Hidden Model', 9999, 30000, 'no'), ('Ryzen 5 3600', 10210, 27302, 'yes'),
         ('Celeron N4020', 3120, 5210, 'yes'), ('Core i5-2400', 5988, 12880, 'yes'),
         ('EPYC 7B13', 9020, 19644, 'yes'), ('Athlon 200GE', 4410, 8305, 'yes'),
         ('Xeon E5-2680 v4', 6670, 24105, 'yes'), ('Core i9-13900K', 12480, 41200, 'yes'),
         ('Pentium G4560', 5120, 9870, 'yes'), ('Ryzen 7 7700X', 11890, 36950, 'yes')]

failures, passes = [], 0


def check(ok, name, detail=''):
    global passes
    if ok:
        passes += 1
        print('ok:', name)
    else:
        failures.append(name)
        print('FAIL:', name, detail)


def png_pixels(data):
    """(width, height, rows of (r, g, b) tuples) of an 8-bit RGB/RGBA PNG."""
    assert data[:8] == b'\x89PNG\r\n\x1a\n', 'not a PNG'
    pos, idat = 8, b''
    while pos < len(data):
        length = int.from_bytes(data[pos:pos + 4], 'big')
        kind, body = data[pos + 4:pos + 8], data[pos + 8:pos + 8 + length]
        if kind == b'IHDR':
            width, height = int.from_bytes(body[0:4], 'big'), int.from_bytes(body[4:8], 'big')
            depth, colour, interlace = body[8], body[9], body[12]
            assert depth == 8 and colour in (2, 6) and interlace == 0, 'unsupported PNG'
        elif kind == b'IDAT':
            idat += body
        pos += 12 + length
    raw, bpp = zlib.decompress(idat), 4 if colour == 6 else 3
    stride, rows, prev = width * bpp, [], bytearray(width * bpp)
    for y in range(height):
        f, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):  # undo the row's filter
            a = line[i - bpp] if i >= bpp else 0
            b, c = prev[i], prev[i - bpp] if i >= bpp else 0
            if f == 1: line[i] = (line[i] + a) & 255
            elif f == 2: line[i] = (line[i] + b) & 255
            elif f == 3: line[i] = (line[i] + (a + b) // 2) & 255
            elif f == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append([tuple(line[x * bpp:x * bpp + 3]) for x in range(width)])
        prev = line
    return width, height, rows


def bars_on_screen(png, palette, tolerance=12):
    """Each bar of a ranking chart's picture, top to bottom: (colour name, length in px)."""
    width, height, rows = png_pixels(png)
    def kind(p):  # 'bar', 'mine' or None; anti-aliased edges match neither
        for name, c in palette.items():
            if max(abs(p[0] - c[0]), abs(p[1] - c[1]), abs(p[2] - c[2])) <= tolerance:
                return name
        return None
    left = min((x for y in range(height) for x in range(width) if kind(rows[y][x])), default=None)
    if left is None:
        return []
    probe, runs, start = left + 8, [], None  # a column past the rounded corners
    for y in range(height + 1):
        inside = y < height and kind(rows[y][probe]) is not None
        if inside and start is None:
            start = y
        elif not inside and start is not None:
            runs.append((start + y - 1) // 2)
            start = None
    bars = []
    for middle in runs:
        name, x = kind(rows[middle][probe]), left
        while x < width and kind(rows[middle][x]) == name:
            x += 1
        bars.append((name, x - left))
    return bars


def tidy_problems(path, text):
    """Tidy's errors and warnings, less its one mistake about valid HTML5."""
    run = subprocess.run(['tidy', '-q', '-e', '--show-warnings', 'yes', '--mute-id', 'yes', path],
                         capture_output=True, text=True)
    lines, problems = text.split('\n'), []
    for message in run.stderr.strip().splitlines():
        # Tidy 5.6 does not know that id is a global attribute, so it calls
        # <title id> "proprietary" even in SVG, where the chart's accessible
        # name points at it. Only that, at a <title id> inside an <svg>, passes.
        m = re.match(r'line (\d+) column (\d+) - Warning: <title> proprietary attribute "id" '
                     r'\(PROPRIETARY_ATTRIBUTE\)$', message)
        if m:
            line = int(m.group(1))
            at = sum(len(l) + 1 for l in lines[:line - 1]) + int(m.group(2)) - 1
            before = text[:at]
            if text.startswith('<title id=', at) and before.rfind('<svg') > before.rfind('</svg>'):
                continue
        problems.append(message)
    if run.returncode not in (0, 1) and not problems:
        problems.append('tidy exited with %d' % run.returncode)
    return problems


class Attributes(html.parser.HTMLParser):
    """Every attribute of every start tag."""
    def __init__(self):
        super().__init__()
        self.found = []
    def handle_starttag(self, tag, attrs):
        self.found += [(tag, k, v or '') for k, v in attrs]


def no_external(name, text):
    check(not re.search(r'(?i)(?:[a-z][a-z0-9+.-]*:)?//[a-z0-9\[]', text) and 'url(' not in text
          and '@import' not in text, name + ': no URL in the file')
    parser = Attributes()
    parser.feed(text)
    linking = [(t, k) for t, k, v in parser.found
               if k in ('src', 'href', 'xlink:href', 'srcset', 'action', 'formaction', 'poster', 'data')]
    check(not linking, name + ': no src/href attribute', linking)


def page_checks(driver, name, path, sections, hostile):
    from selenium.common.exceptions import NoAlertPresentException
    cdp = driver.execute_cdp_cmd
    cdp('Emulation.setEmulatedMedia', {'media': '', 'features': [{'name': 'prefers-color-scheme', 'value': 'light'}]})
    driver.get('about:blank')  # leaves the start page, whose requests are not ours
    driver.get_log('browser'), driver.get_log('performance')
    url = 'file://' + path
    driver.get(url)
    try:
        driver.switch_to.alert
        check(False, name + ': no alert open')
    except NoAlertPresentException:
        check(True, name + ': no alert open')
    js = driver.execute_script
    severe = [e['message'] for e in driver.get_log('browser') if e['level'] == 'SEVERE']
    check(not severe, name + ': no console error', severe)
    requests = [m['params']['request']['url'] for m in
                (json.loads(e['message'])['message'] for e in driver.get_log('performance'))
                if m['method'] == 'Network.requestWillBeSent']
    check(requests == [url], name + ': no request but the page', requests)

    # Rank order from the DOM, then on the pixels.
    charts = js('''return [...document.querySelectorAll('svg.ranking')].map(s => ({
        section: s.closest('section').id, rows: +s.dataset.rows,
        scores: [...s.querySelectorAll('g.row')].map(g => +g.dataset.score),
        mine: [...s.querySelectorAll('g.row')].map(g => g.classList.contains('mine-row'))}))''')
    check([c['section'] for c in charts] == ['speed', 'power'], name + ': two ranking charts', charts)
    for c in charts:
        label = '%s: %s chart' % (name, c['section'])
        check(c['rows'] == len(c['scores']) and all(a >= b for a, b in zip(c['scores'], c['scores'][1:])),
              label + ' ranked in the DOM', c)
        svg = driver.find_element('css selector', '#%s svg.ranking' % c['section'])
        bars = bars_on_screen(svg.screenshot_as_png, LIGHT)
        lengths = [n for _, n in bars]
        colours = ['mine' if m else 'bar' for m in c['mine']]
        check(len(bars) == c['rows'] and [k for k, _ in bars] == colours, label + ' colours on screen', bars)
        check(all(a >= b - 2 for a, b in zip(lengths, lengths[1:])), label + ' bars shorten on screen', lengths)
        close = bars and all(abs(n - lengths[0] * s / c['scores'][0]) <= 3 for n, s in zip(lengths, c['scores']))
        check(close, label + ' bar lengths follow the scores', list(zip(c['scores'], lengths)))

    # Hostile names are text, and nothing that could run or load is in the DOM.
    text = js('return document.body.innerText')
    for h in hostile:
        check(h in text, '%s: %r shown as text' % (name, h))
    active = js("return document.querySelectorAll('script, img, iframe, object, embed, [onerror], [onload]').length")
    check(active == 0, name + ': no script, image or embedded object', active)

    # Dark theme.
    cdp('Emulation.setEmulatedMedia', {'media': '', 'features': [{'name': 'prefers-color-scheme', 'value': 'dark'}]})
    bg = js('return getComputedStyle(document.body).backgroundColor')
    check(bg == 'rgb(22, 24, 28)', name + ': dark background', bg)
    bars = bars_on_screen(driver.find_element('css selector', '#speed svg.ranking').screenshot_as_png, DARK)
    expected = ['mine' if m else 'bar' for m in charts[0]['mine']]
    check([k for k, _ in bars] == expected, name + ': dark bar colours on screen', bars)
    cdp('Emulation.setEmulatedMedia', {'media': '', 'features': [{'name': 'prefers-color-scheme', 'value': 'light'}]})

    # A phone's width: no sideways scrolling.
    cdp('Emulation.setDeviceMetricsOverride', {'width': 390, 'height': 844, 'deviceScaleFactor': 1, 'mobile': True})
    # A wider page widens a phone's viewport too, so innerWidth must stay 390.
    widths = js('return [document.documentElement.scrollWidth, window.innerWidth]')
    wide = js('''return [...document.querySelectorAll('body *')].filter(e => e.getBoundingClientRect().right > 390
        && ![...e.children].some(c => c.getBoundingClientRect().right > 390)).map(e => e.outerHTML.slice(0, 80))''')
    check(widths[1] == 390 and widths[0] <= widths[1], name + ': fits 390 px',
          'scrollWidth %d, innerWidth %d; past the edge: %s' % (*widths, wide[:4]))
    cdp('Emulation.clearDeviceMetricsOverride', {})

    # Printed on A4: at least two pages, and one for each section.
    pdf = base64.b64decode(cdp('Page.printToPDF', {'paperWidth': 8.27, 'paperHeight': 11.69})['data'])
    pages = len(re.findall(rb'/Type\s*/Page(?!s)', pdf))
    present = js('return document.querySelectorAll("section#speed, section#power, section#fleet, '
                 'section#documents, section#refused").length')
    check(pages >= max(2, present) and present == sections, name + ': printed pages',
          '%d pages, %d sections' % (pages, present))
    return charts


def start_browser(profile):
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    options = webdriver.ChromeOptions()
    options.binary_location = CHROMIUM
    for flag in ['--headless=new', '--user-data-dir=' + profile, '--window-size=1000,1500',
                 '--force-device-scale-factor=1', '--hide-scrollbars', '--no-first-run',
                 '--disable-gpu', '--disable-dev-shm-usage', '--disable-extensions',
                 # Nothing reaches the network: no background traffic, no name resolved.
                 '--disable-background-networking', '--disable-component-update', '--disable-sync',
                 '--disable-default-apps', '--disable-domain-reliability', '--no-pings',
                 '--host-resolver-rules=MAP * ~NOTFOUND']:
        options.add_argument(flag)
    if os.geteuid() == 0:
        options.add_argument('--no-sandbox')
    options.set_capability('goog:loggingPrefs', {'browser': 'ALL', 'performance': 'ALL'})
    return webdriver.Chrome(service=Service(CHROMEDRIVER), options=options)


def main(argv):
    if len(argv) not in (4, 6) or (len(argv) == 6 and argv[4] != '--screenshot'):
        sys.exit('usage: report_browser_test.py TARNWICK_CLI MAKE_DOCUMENTS DOC_DIR [--screenshot OUT.png]')
    cli, make_documents, doc_dir = argv[1:4]
    missing = [t for t, ok in [(CHROMIUM, os.access(CHROMIUM, os.X_OK)),
                               (CHROMEDRIVER, os.access(CHROMEDRIVER, os.X_OK)),
                               ('tidy', shutil.which('tidy')), (cli, os.access(cli, os.X_OK)),
                               (make_documents, os.access(make_documents, os.X_OK))] if not ok]
    try:
        import selenium  # noqa: F401  (python3-selenium)
    except ImportError:
        missing.append('python3-selenium')
    if missing:
        sys.exit('FAIL: missing tool: ' + ', '.join(missing))

    started, work = time.monotonic(), tempfile.mkdtemp(prefix='report-browser-')
    driver = None
    try:
        # The fleet: five hosts, the last one slow, hostile names on host 1.
        docs = os.path.join(work, 'docs')
        os.mkdir(docs)
        subprocess.run([make_documents, docs, '5', '--slow', '--hostile', '--heat'], check=True)
        fleet = os.path.join(work, 'fleet.html')
        subprocess.run([cli, 'report', *sorted(glob.glob(os.path.join(docs, 'node-*.json'))),
                        '--output', fleet, '--title', 'Lab 7'], check=True, stdout=subprocess.DEVNULL)
        driver = start_browser(os.path.join(work, 'profile'))
        if len(argv) == 6:
            # The README's picture: a fleet of six without the hostile names.
            shown_docs = os.path.join(work, 'shown')
            os.mkdir(shown_docs)
            subprocess.run([make_documents, shown_docs, '6', '--slow', '--heat'], check=True)
            subprocess.run([cli, 'report', *sorted(glob.glob(os.path.join(shown_docs, 'node-*.json'))),
                            '--output', fleet, '--title', 'Lab 7'], check=True, stdout=subprocess.DEVNULL)
            driver.execute_cdp_cmd('Emulation.setDeviceMetricsOverride',
                                   {'width': 1000, 'height': 1500, 'deviceScaleFactor': 1, 'mobile': False})
            driver.execute_cdp_cmd('Emulation.setEmulatedMedia', {'media': '', 'features': [
                {'name': 'prefers-color-scheme', 'value': 'light'}]})
            driver.get('file://' + fleet)
            with open(argv[5], 'wb') as out:
                out.write(driver.get_screenshot_as_png())
            return 0

        # The table: the shipped lines and our own, one hidden.
        table = os.path.join(work, 'table.csv')
        with open(os.path.join(doc_dir, 'cpu_results_original.csv'), encoding='utf-8') as f:
            shipped = [l for l in f.read().splitlines() if l.strip()]
        with open(table, 'w', encoding='utf-8') as f:
            for line in shipped:
                f.write(line + '\n')
            for model, speed, power, display in ADDED:
                f.write('AMD;%s;3000;4000;1;4;8;Linux;Debian 12;%d;%d;%s\n' % (model, speed, power, display))
        table_html = os.path.join(work, 'table.html')
        subprocess.run([cli, 'report', '--results', table, '--output', table_html],
                       check=True, stdout=subprocess.DEVNULL)

        # Both: the table's bars and the fleet's highlighted ones side by side.
        mixed = os.path.join(work, 'mixed.html')
        subprocess.run([cli, 'report', '--results', table, *sorted(glob.glob(os.path.join(docs, 'node-*.json'))),
                        '--output', mixed], check=True, stdout=subprocess.DEVNULL)

        shown = [(int(f[9]), int(f[10])) for f in (l.split(';') for l in shipped) if f[11] == 'yes']
        shown += [(speed, power) for _, speed, power, display in ADDED if display == 'yes']
        for name, path, sections, hostile in [('table', table_html, 2, [HOSTILE_NAME]),
                                              ('fleet', fleet, 4, [HOSTILE_NAME, HOSTILE_BRAND]),
                                              ('mixed', mixed, 4, [HOSTILE_NAME, HOSTILE_BRAND])]:
            with open(path, encoding='utf-8') as f:
                text = f.read()
            problems = tidy_problems(path, text)
            check(not problems, name + ': valid HTML (tidy)', '\n'.join(problems))
            no_external(name, text)
            charts = page_checks(driver, name, path, sections, hostile)
            js = driver.execute_script
            if name == 'table':  # every displayed record, ranked; the hidden one nowhere
                for c, column in zip(charts, (0, 1)):
                    want = sorted((r[column] for r in shown), reverse=True)
                    check(c['scores'] == want and not any(c['mine']),
                          'table: %s chart holds the displayed records' % c['section'], c['scores'])
                check('Hidden Model' not in text and 'Hidden Model' not in js('return document.body.innerText'),
                      'table: a record not displayed is left out')
            elif name == 'mixed':  # the table's rows and the five hosts', each in its colour
                check([len(c['scores']) for c in charts] == [len(shown) + 5] * 2 and
                      [sum(c['mine']) for c in charts] == [5, 5],
                      'mixed: the table\'s records and the hosts\' highlighted ones in both charts',
                      [(len(c['scores']), sum(c['mine'])) for c in charts])
            else:
                check([len(c['scores']) for c in charts] == [5, 5] and all(all(c['mine']) for c in charts),
                      'fleet: every host highlighted in both charts')
                flagged = js("return [...document.querySelectorAll('table.flagged tbody tr')]"
                             ".map(r => r.cells[0].innerText + ': ' + r.cells[1].innerText)")
                check(flagged == ['node-5: slow'], 'fleet: the slow host flagged', flagged)
                count = js("return document.querySelectorAll('#documents article.document').length")
                check(count == 5, 'fleet: one article per document', count)
    except Exception as error:  # a tool that failed: the checks left are not done
        check(False, 'the run finished', '%s: %s' % (type(error).__name__, error))
    finally:
        if driver:
            driver.quit()
        shutil.rmtree(work, ignore_errors=True)
    print('%d passed, %d failed (%.1f s)' % (passes, len(failures), time.monotonic() - started))
    for name in failures:
        print('failed:', name)
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv))
