#!/bin/bash
# Stand-in for Homebrew's install script, run as /bin/bash -c "$(curl -fsSL …)": checks sudo (-A with
# SUDO_ASKPASS, else -n), installs the Command Line Tools when missing, fetches $STANDIN_DOWNLOADS/brew.
ohai() { printf '==> %s\n' "$*"; }
abort() { printf '%s\n' "$1" >&2; exit 1; }

prefix=/opt/homebrew repository=/opt/homebrew
[ "$(/usr/bin/uname -m)" = arm64 ] || prefix=/usr/local repository=/usr/local/Homebrew
sudo_flag=-n; [ -z "$SUDO_ASKPASS" ] || sudo_flag=-A
execute_sudo() {
    ohai "/usr/bin/sudo $*"
    /usr/bin/sudo "$sudo_flag" "$@" || abort "Failed during: /usr/bin/sudo $*"
}
trap '/usr/bin/sudo -k' EXIT

if [ -z "$NONINTERACTIVE" ] && ! [ -t 0 ]; then
    echo 'Warning: Running in non-interactive mode because `stdin` is not a TTY.'
    NONINTERACTIVE=1
fi

ohai 'Checking for `sudo` access (which may request your password)...'
/usr/bin/sudo "$sudo_flag" -v \
    || abort "Need sudo access on macOS (e.g. the user ${USER:-${HOME##*/}} needs to be an Administrator)!"

tools=/Library/Developer/CommandLineTools
ohai "This script will install:"
printf '%s\n' "$prefix/bin/brew" "$prefix/share/doc/homebrew" "$prefix/share/man/man1/brew.1" \
    "$prefix/share/zsh/site-functions/_brew" "$prefix/etc/bash_completion.d/brew" "$repository"
[ -d "$tools/usr/bin" ] || ohai "The Xcode Command Line Tools will be installed."

directories=()
for name in bin etc include lib sbin share opt var Frameworks Cellar Caskroom share/zsh/site-functions var/homebrew/linked; do
    [ -d "$prefix/$name" ] || directories+=("$prefix/$name")
done
[ -d "$repository" ] || directories+=("$repository")
[ ${#directories[@]} -eq 0 ] || execute_sudo /bin/mkdir -p "${directories[@]}"

if ! [ -d "$tools/usr/bin" ]; then
    ohai "Searching online for the Command Line Tools"
    ohai "Installing Command Line Tools for Xcode-16.1"
    execute_sudo /bin/mkdir -p "$tools/usr/bin"
    printf '%s\n' "Software Update Tool" "" "Finding available software" "" "Downloading Command Line Tools for Xcode" \
        "Downloaded Command Line Tools for Xcode" "Installing Command Line Tools for Xcode" \
        "Done with Command Line Tools for Xcode" "Done." ""
fi

ohai "Downloading and installing Homebrew..."
curl -fsSLg -o "$prefix/bin/brew" "$STANDIN_DOWNLOADS/brew" && chmod 755 "$prefix/bin/brew" \
    || { rm -f "$prefix/bin/brew"; abort "Failed during: curl -fsSL $STANDIN_DOWNLOADS/brew"; }

ohai "Installation successful!"
echo
ohai "Next steps:"
printf '%s\n' "- Run these commands in your terminal to add Homebrew to your PATH:" "    echo >> $HOME/.zprofile" \
    "    echo 'eval \"\$($prefix/bin/brew shellenv)\"' >> $HOME/.zprofile" "    eval \"\$($prefix/bin/brew shellenv)\"" \
    "- Run brew help to get started" "- Further documentation:" "    https://docs.brew.sh"
exit 0
