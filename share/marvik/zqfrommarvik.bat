#!/bin/sh
# Marvik starts this in the folder of the job, with the job's name as the one argument: NAME.ins and NAME.hkl are there,
# NAME.res is expected. What is printed is shown while it runs. A line with the word "finished" tells Marvik that
# NAME.res may be read; an exit status other than 0 tells it that something went wrong.
#
# To use a refinement program of your own, name it in this line, for example  program=/usr/local/bin/myprogram
# What Preferences names comes before it, with its options.
program=${MARVIK_ENGINE:-${MARVIK_BIN:-}marvik-refine}

# shellcheck disable=SC2086  # options are words
exec "$program" $MARVIK_ENGINE_OPTIONS "$1"
