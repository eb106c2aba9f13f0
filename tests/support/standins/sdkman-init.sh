# Stand-in for SDKMAN's bin/sdkman-init.sh, sourced by zsh or bash: puts candidates on PATH, sets JAVA_HOME
# and defines `sdk` (install, default) for java, fetching $STANDIN_DOWNLOADS/sdkman/java/<version>/<platform>.
export SDKMAN_DIR="${SDKMAN_DIR:-$HOME/.sdkman}"
export SDKMAN_CANDIDATES_DIR="$SDKMAN_DIR/candidates"
[ -f "$SDKMAN_DIR/etc/config" ] && . "$SDKMAN_DIR/etc/config"

__sdkman_path_add() { # prepends $1 to PATH unless it is there already
    case ":$PATH:" in *":$1:"*) ;; *) export PATH="$1${PATH:+:$PATH}" ;; esac
}

__sdkman_refresh() {
    [ -n "${ZSH_VERSION-}" ] && setopt local_options null_glob
    local current
    for current in "$SDKMAN_CANDIDATES_DIR"/*/current; do
        [ -d "$current/bin" ] && __sdkman_path_add "$current/bin"
    done
    [ -d "$SDKMAN_CANDIDATES_DIR/java/current" ] && export JAVA_HOME="$SDKMAN_CANDIDATES_DIR/java/current"
    return 0
}

__sdkman_link_current() { ln -sfn "$1" "$SDKMAN_CANDIDATES_DIR/java/current" && __sdkman_refresh; }

__sdkman_install() {
    local version="$1" platform archive answer plain=1
    case $version in ''|.*|*[!A-Za-z0-9._+-]*) plain= ;; esac
    if [ -n "$plain" ] && [ -d "$SDKMAN_CANDIDATES_DIR/java/$version" ]; then
        echo "java $version is already installed."
        return 0
    fi
    printf '\n%s\n\n%s\n\n' "Downloading: java $version" "In progress..."
    case $(/usr/bin/uname -m) in x86_64) platform=darwinx64 ;; *) platform=darwinarm64 ;; esac
    mkdir -p "$SDKMAN_DIR/tmp"
    archive="$SDKMAN_DIR/tmp/java-$version.bin"
    [ -n "$plain" ] && curl -fsSLg -o "$archive" "$STANDIN_DOWNLOADS/sdkman/java/$version/$platform" 2>/dev/null || {
        [ -n "$plain" ] && rm -f "$archive"
        printf '%s\n' "Stop! java $version is not available. Possible causes:" " * $version is an invalid version" \
            " * java binaries are incompatible with your platform" " * java has not been released yet" "" \
            "Tip: see all available versions for your platform:" "" "  \$ sdk list java"
        return 1
    }
    printf '%s\n\n%s\n\n%s\n\n' "######################################################################## 100.0%" \
        "Repackaging Java $version..." "Done repackaging..."
    mkdir -p "$SDKMAN_CANDIDATES_DIR/java/$version"
    if ! tar -xzf "$archive" -C "$SDKMAN_CANDIDATES_DIR/java/$version"; then
        rm -rf "$SDKMAN_CANDIDATES_DIR/java/$version" "$archive"
        echo "Stop! The archive was corrupt and has been removed! Please try installing again."
        return 1
    fi
    rm -f "$archive"
    printf '%s\n%s\n\n' "Installing: java $version" "Done installing!"
    answer=y
    [ "${sdkman_auto_answer-}" = true ] || { printf '%s' "Do you want java $version to be set as default? (Y/n): "; read -r answer; }
    case $answer in
        ''|[Yy]*)
            printf '\n%s\n' "Setting java $version as default."
            __sdkman_link_current "$version" ;;
    esac
    return 0
}

sdk() {
    local verb="$1" candidate="$2" version="$3"
    case $verb in
        install|i|default|d) ;;
        *) echo "Invalid command: $verb"; return 1 ;;
    esac
    if [ -n "$candidate" ] && [ "$candidate" != java ]; then
        echo "Stop! $candidate is not a valid candidate."
        return 1
    fi
    case $verb in
        install|i)
            __sdkman_install "$version" ;;
        default|d)
            case $version in
                ''|.*|*/*) false ;;
                *) [ -d "$SDKMAN_CANDIDATES_DIR/java/$version" ] ;;
            esac || { echo "Stop! Candidate version is not installed."; return 1; }
            __sdkman_link_current "$version"
            printf '\n%s\n' "Default java version set to $version" ;;
    esac
}

__sdkman_refresh
