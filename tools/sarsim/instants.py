# SPDX-License-Identifier: MIT
"""Civil UTC instants as integer nanoseconds since 1970-01-01, without leap seconds."""
import calendar
import re
import time

NS_PER_SECOND = 1_000_000_000
NS_PER_DAY = 86400 * NS_PER_SECOND

_PATTERN = re.compile(r"(\d{4})-(\d\d)-(\d\d)T(\d\d):(\d\d):(\d\d)(?:\.(\d{1,9}))?Z?$")


def parse(text):
    """"2024-02-28T23:59:58.25Z" -> nanoseconds. Raises ValueError for any other form."""
    match = _PATTERN.match(text)
    if not match:
        raise ValueError(f"not a time like 2024-02-28T23:59:58.25Z: {text!r}")
    parts = [int(part) for part in match.groups()[:6]]
    if not (1 <= parts[1] <= 12 and 1 <= parts[2] <= calendar.monthrange(*parts[:2])[1]
            and parts[3] < 24 and parts[4] < 60 and parts[5] < 60):
        raise ValueError(f"no such time: {text!r}")
    fraction = (match.group(7) or "").ljust(9, "0")
    return calendar.timegm(tuple(parts) + (0, 0, 0)) * NS_PER_SECOND + int(fraction)


def text(ns, digits=6):
    """ISO text with `digits` (1 to 9) decimals; `ns` must be a multiple of the last decimal."""
    seconds, fraction = divmod(ns, NS_PER_SECOND)
    fields = time.gmtime(seconds)
    return time.strftime("%Y-%m-%dT%H:%M:%S", fields) + "." + f"{fraction:09d}"[:digits] + "Z"


def compact(ns, separator=""):
    """Date and time as product names carry them: 20240228235958."""
    return time.strftime("%Y%m%d" + separator + "%H%M%S", time.gmtime(ns // NS_PER_SECOND))


def seconds_of_day(ns):
    return (ns % NS_PER_DAY) / 1e9
