# Where the servers are kept. Sourced by servers/install; servers/lib/places.mjs says the same in JavaScript.

ELASTICSEARCH_NAME=elasticsearch-6.8.23

# Elasticsearch refuses to run as root, so under root it stands where an unprivileged user can reach it.
if [ -n "${NETWEFT_CACHE:-}" ]; then
    NETWEFT_CACHE_DIR=$NETWEFT_CACHE
elif [ "$(id -u)" = 0 ]; then
    NETWEFT_CACHE_DIR=/var/cache/netweft
else
    NETWEFT_CACHE_DIR=${XDG_CACHE_HOME:-$HOME/.cache}/netweft
fi
