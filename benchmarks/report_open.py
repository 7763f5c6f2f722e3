"""Opens a report in headless Chromium RUNS times and prints the median time
from asking for the page to its first screenshot (loaded and painted):
"seconds S". Usage: report_open.py PAGE.html RUNS"""
import os
import statistics
import sys
import tempfile
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service


def main(page, runs):
    with tempfile.TemporaryDirectory(prefix='report-open-') as profile:
        measure(page, runs, profile)


def measure(page, runs, profile):
    options = webdriver.ChromeOptions()
    for argument in ('--headless=new', '--disable-gpu', '--window-size=1000,1000',
                     '--host-resolver-rules=MAP * ~NOTFOUND', '--disable-background-networking',
                     '--user-data-dir=' + profile):
        options.add_argument(argument)
    if os.geteuid() == 0:
        options.add_argument('--no-sandbox')
    driver = webdriver.Chrome(service=Service('/usr/bin/chromedriver'), options=options)
    try:
        times = []
        for _ in range(runs):
            driver.get('about:blank')
            start = time.monotonic()
            driver.get('file://' + os.path.abspath(page))
            driver.get_screenshot_as_png()
            times.append(time.monotonic() - start)
        print('seconds %.3f' % statistics.median(times))
    finally:
        driver.quit()


if __name__ == '__main__':
    main(sys.argv[1], int(sys.argv[2]))
