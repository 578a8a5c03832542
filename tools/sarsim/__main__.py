# SPDX-License-Identifier: MIT
"""Entry point of `/usr/bin/python3 tools/sarsim`."""
import os
import sys

# Run as a folder, Python puts the folder itself first; the package needs its parent instead.
sys.path[0] = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

from sarsim.cli import main  # noqa: E402

sys.exit(main())
