# shellcheck shell=dash
