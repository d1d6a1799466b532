#!/usr/bin/env bash
# Runs a command in a Slurm cluster of its own with one node, and stops the cluster behind it.
# usage: cluster.sh COMMAND [ARGUMENT...]
# The status is that of the command, or 77 with the reason where no cluster can be started.
#
# Controller, node and command live in namespaces for network, processes, mounts and host name. They
# all end with this script, whatever ends it, and leave nothing: logs, state and keys are in memory, in
# CLUSTER_FOLDER. The node has CLUSTER_CPUS processors (4 if not set), and an array has at most
# CLUSTER_MAX_ARRAY_SIZE - 1 tasks. After somebody has stopped slurmd, `cluster.sh --node` starts it.
set -euo pipefail

readonly NODE=node
# Slurm finds no address where there is only that of the loop.
readonly ADDRESS=10.0.0.1
# Hides what the machine has there.
readonly MEMORY=/run

skip() {
  echo "skipped: $*" >&2
  exit 77
}

needs() {
  local program
  for program in "$@"; do
    command -v "$program" >/dev/null || skip "no $program: install it with scripts/setup.sh slurm"
  done
}

# Waits until the command is true. $1: for what, in words.
await() {
  local what=$1 end=$((SECONDS + 20))
  shift
  until "$@" >/dev/null 2>&1; do
    if [ "$SECONDS" -ge "$end" ]; then
      echo "cluster: no $what after 20 s; the last lines of its logs:" >&2
      tail -q -n 5 "$CLUSTER_FOLDER"/*.log >&2
      exit 1
    fi
    sleep 0.05
  done
}

write_configuration() {
  cat > "$SLURM_CONF" <<END
ClusterName=$NODE
SlurmctldHost=$NODE($ADDRESS)
# A task that was requeued waits as long as a credential is valid.
AuthType=auth/munge
AuthInfo=socket=$CLUSTER_FOLDER/munge.socket,cred_expire=5
CryptoType=crypto/munge
SlurmUser=$(id -u)
SlurmdUser=$(id -u)
StateSaveLocation=$CLUSTER_FOLDER/state
SlurmdSpoolDir=$CLUSTER_FOLDER/spool
SlurmctldPidFile=$CLUSTER_FOLDER/slurmctld.pid
SlurmdPidFile=$CLUSTER_FOLDER/slurmd.pid
SlurmctldLogFile=$CLUSTER_FOLDER/slurmctld.log
SlurmdLogFile=$CLUSTER_FOLDER/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core_Memory
SchedulerType=sched/backfill
SchedulerParameters=sched_interval=1,sched_min_interval=1,batch_sched_delay=1,bf_interval=1
ReturnToService=2
KillWait=2
MinJobAge=600
# More processors and memory than the machine has.
SlurmdParameters=config_overrides
MaxArraySize=${CLUSTER_MAX_ARRAY_SIZE:-1001}
NodeName=$NODE NodeAddr=$ADDRESS CPUs=${CLUSTER_CPUS:-4} RealMemory=32000
PartitionName=all Nodes=$NODE Default=YES MaxTime=INFINITE OverSubscribe=NO
END
}

node_is_idle() { [[ "$(sinfo -h -o %T)" =~ ^(idle|mixed|allocated)$ ]]; }

start_node() {
  slurmd
  await "node" node_is_idle
}

# In the namespaces, as root of them. $1: user and group that shall run the cluster.
set_up_namespaces() {
  local user=$1
  shift
  { hostname "$NODE" && ip link set lo up && ip address add "$ADDRESS/32" dev lo &&
    mount -t tmpfs -o mode=0755 cluster "$MEMORY"; } ||
    skip "this machine allows no changes in a namespace"
  [ "$(cat /proc/self/setgroups)" = deny ] || exec "$0" --start "$@"
  # Slurm ends at once where root may not change groups: run it as a user, that of the caller.
  [ "$user" != 0:0 ] || user=1:1
  exec unshare --user --map-user="${user%:*}" --map-group="${user#*:}" "$0" --start "$@"
}

run_cluster() {
  mkdir -p "$CLUSTER_FOLDER"/{state,spool}
  write_configuration
  (umask 077 && head -c 1024 /dev/urandom > "$CLUSTER_FOLDER/munge.key")
  # --force: it would not trust a folder of a user.
  munged --force --key-file="$CLUSTER_FOLDER/munge.key" --socket="$CLUSTER_FOLDER/munge.socket" \
    --pid-file="$CLUSTER_FOLDER/munged.pid" --seed-file="$CLUSTER_FOLDER/munge.seed" \
    --log-file="$CLUSTER_FOLDER/munged.log" 2>> "$CLUSTER_FOLDER/munged.log"
  slurmctld
  await "controller" scontrol ping
  start_node
  "$@"
}

case "${1:-}" in
  --set-up)
    shift
    set_up_namespaces "$@"
    ;;
  --start)
    shift
    run_cluster "$@"
    exit
    ;;
  --node)
    start_node
    exit
    ;;
esac

[ $# -ge 1 ] || { echo "usage: cluster.sh COMMAND [ARGUMENT...]" >&2; exit 2; }
PATH=$PATH:/usr/sbin:/sbin
needs unshare ip munged slurmctld slurmd sinfo
CLUSTER_FOLDER=$MEMORY/cluster
SLURM_CONF=$CLUSTER_FOLDER/slurm.conf
export PATH CLUSTER_FOLDER SLURM_CONF
namespaces=(--net --uts --ipc --mount --pid --fork --kill-child --mount-proc)
[ "$(id -u)" -eq 0 ] || namespaces+=(--user --map-root-user)
unshare "${namespaces[@]}" true 2>/dev/null || skip "this machine allows no namespaces"
exec unshare "${namespaces[@]}" "$0" --set-up "$(id -u):$(id -g)" "$@"
