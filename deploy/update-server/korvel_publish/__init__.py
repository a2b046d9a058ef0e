"""The parts of publish.py: the clients' rules, the documents of a release, the tree, and the check of what is served."""
