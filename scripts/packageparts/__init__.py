"""Parts of scripts/package-test."""
