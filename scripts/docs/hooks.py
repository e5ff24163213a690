"""What mkdocs does at the end of a build."""

import json
import os


def on_post_build(config):
    site = config["site_dir"]
    os.remove(os.path.join(site, "404.html"))  # for servers: it names its files from the root

    # Who searches looks for an answer, not for lines of code that have a word.
    path = os.path.join(site, "search/search_index.json")
    with open(path, encoding="utf-8") as file:
        index = json.load(file)
    index["docs"] = [page for page in index["docs"] if not page["location"].startswith("source/")]
    with open(path, "w", encoding="utf-8") as file:
        json.dump(index, file)
