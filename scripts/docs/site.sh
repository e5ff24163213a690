#!/usr/bin/env bash
# Builds the documentation as a site in build/docs. A broken link fails, in the repository's pages and in the site's.
set -euo pipefail
cd "$(dirname "$0")/../.."
scripts/docs/links.py .
rm -rf build/docs-drawn
/usr/bin/python3 -B measure/accuracy/gallery.py build/docs-drawn # Debian's, which has matplotlib
scripts/docs/layout.py . build/docs-drawn build/docs-source
mkdocs build --quiet --clean --config-file build/docs-source/mkdocs.yml --site-dir "$PWD/build/docs"
scripts/docs/links.py --site build/docs
