# shellcheck shell=bash
# The files in the folder of a private broker: how others reach it, its configuration, and the environment of its
# processes. Sourced by scripts/broker, never run.

# write_environment DIR NODE DIST_PORT EPMD_PORT RABBITMQ_SCRIPTS
#
# Everything else in the environment, such as ERL_FLAGS or RABBITMQ_*, could
# change the node, so it gets exactly this. An address as the host's name works
# also where the machine's own name does not resolve.
write_environment() {
    local dir=$1 node=$2 dist_port=$3 epmd_port=$4 rabbitmq_scripts=$5
    local environment=(
        "HOME=$dir" "PATH=/usr/sbin:/usr/bin:/sbin:/bin" LANG=C.UTF-8 "TMPDIR=$dir"
        "ERL_EPMD_ADDRESS=127.0.0.1" "ERL_EPMD_PORT=$epmd_port"
        # Without -start_epmd a node starts a port mapper when it misses its
        # own one, and that would outlive it.
        "ERL_FLAGS=-start_epmd false -kernel inet_dist_use_interface {127,0,0,1}"
        ERL_CRASH_DUMP_SECONDS=0
        "RABBITMQ_NODENAME=$node" RABBITMQ_USE_LONGNAME=true
        "RABBITMQ_DIST_PORT=$dist_port"
        RABBITMQ_CTL_DIST_PORT_MIN=0 RABBITMQ_CTL_DIST_PORT_MAX=0
        "RABBITMQ_CONF_ENV_FILE=$dir/rabbitmq-env.conf"
        "RABBITMQ_CONFIG_FILE=$dir/rabbitmq.conf"
        "RABBITMQ_CONFIG_FILES=$dir/conf.d"
        "RABBITMQ_ADVANCED_CONFIG_FILE=$dir/advanced.config"
        "RABBITMQ_GENERATED_CONFIG_DIR=$dir/generated"
        "RABBITMQ_ENABLED_PLUGINS_FILE=$dir/enabled_plugins"
        "RABBITMQ_MNESIA_BASE=$dir/mnesia" "RABBITMQ_PID_FILE=$dir/rabbitmq.pid"
        "RABBITMQ_LOG_BASE=$dir/log" RABBITMQ_LOGS=-
        # Makes the start script become the node, so that its pid is the node's.
        RUNNING_UNDER_SYSTEMD=true
        # +B i: SIGINT must not put the node in its BREAK menu.
        "RABBITMQ_SERVER_ADDITIONAL_ERL_ARGS=+B i +S 2:2 +SDio 2"
        RABBITMQ_MAX_NUMBER_OF_PROCESSES=100000
    )
    printf '%s\0' "${environment[@]}" >"$dir/environment"

    # A file rather than a function, for the programs that get its path.
    {
        printf '#!/bin/sh\nexec env -i'
        printf " '%s'" "${environment[@]}"
        printf ' %s "$@"\n' "$rabbitmq_scripts/rabbitmqctl"
    } >"$dir/rabbitmqctl"
    chmod 700 "$dir/rabbitmqctl"
}

# write_configuration DIR NODE AMQP_PORT
write_configuration() {
    local dir=$1 node=$2 amqp_port=$3
    # First of all, because stop only ever removes a folder that has this file.
    printf 'export %s=%q\n' AMQP_BROKER_DIR "$dir" \
        AMQP_HOST 127.0.0.1 AMQP_PORT "$amqp_port" \
        AMQP_USER guest AMQP_PASSWORD guest AMQP_VHOST / \
        AMQP_NODE "$node" RABBITMQCTL "$dir/rabbitmqctl" >"$dir/assignments"
    mkdir -p "$dir"/{mnesia,log,conf.d,generated}
    : >"$dir/rabbitmq-env.conf"
    echo '[].' | tee "$dir/advanced.config" >"$dir/enabled_plugins"
    cat >"$dir/rabbitmq.conf" <<END
listeners.tcp.1 = 127.0.0.1:$amqp_port
num_acceptors.tcp = 2
vm_memory_high_watermark.absolute = 2GB
disk_free_limit.absolute = 50MB
END
}
