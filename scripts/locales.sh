# Locales that tests need, made without the rights to install them; sourced by the other scripts.
# shellcheck shell=bash

export LOCPATH="$PWD/build/locale"

# make_locale NAME: NAME.UTF-8, in build/locale.
make_locale() {
  [ -d "$LOCPATH/$1.UTF-8" ] && return
  mkdir -p "$LOCPATH"
  rm -rf "$LOCPATH/new"
  localedef -i "$1" -f UTF-8 "$LOCPATH/new"
  mv "$LOCPATH/new" "$LOCPATH/$1.UTF-8"
}
