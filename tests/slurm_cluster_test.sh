#!/usr/bin/env bash
# A one-node Slurm cluster on localhost, private to this test: munged, slurmctld and slurmd
# with a minimal configuration (no cgroups), their own key, state, ports and socket. Runs an
# eight-scenario table as a job array through `kaitoro-cli batch --slurm --wait`, merges again
# (must change nothing), and checks the merged database equals a local `--jobs 2` batch of the
# same table row for row. Every daemon it started is stopped by PID, on failure too.
#
# usage: slurm_cluster_test.sh KAITORO_CLI GRID
set -euo pipefail
CLI=$1
GRID=$2

fail() { echo "slurm_cluster_test: $*" >&2; exit 1; }
[ "$(id -u)" -eq 0 ] || fail "needs root: SlurmUser=root and slurmd start jobs as their owner"
for tool in munged slurmctld slurmd sbatch sinfo scancel sqlite3 python3; do
    command -v "$tool" >/dev/null || fail "$tool is missing (scripts/ensure_deps.sh installs it)"
done

WORK=$(mktemp -d /tmp/kaitoro-slurm-XXXXXX)
chmod 755 "$WORK"
DAEMONS=()
cleanup() {
    local rc=$?
    if [ -n "${SLURM_CONF:-}" ]; then scancel --quiet --user=root 2>/dev/null || true; fi
    # Reverse start order: slurmd, slurmctld, munged.
    for ((k = ${#DAEMONS[@]} - 1; k >= 0; k--)); do kill "${DAEMONS[k]}" 2>/dev/null || true; done
    for pid in "${DAEMONS[@]}"; do
        for _ in $(seq 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
        kill -9 "$pid" 2>/dev/null || true
    done
    if [ $rc -ne 0 ]; then
        for log in "$WORK"/*.log "$WORK"/shards/task_*.log; do
            [ -f "$log" ] && { echo "--- $log"; tail -n 20 "$log"; }
        done
    fi
    rm -rf "$WORK"
    exit $rc
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# --- munge: a fresh key from /dev/urandom, its own socket -----------------------------------
mkdir -m 700 "$WORK/munge"
dd if=/dev/urandom of="$WORK/munge/munge.key" bs=1024 count=1 status=none
chmod 400 "$WORK/munge/munge.key"
SOCKET="$WORK/munge/munge.socket"
munged --foreground --force --key-file="$WORK/munge/munge.key" --socket="$SOCKET" \
    --pid-file="$WORK/munge/munged.pid" --log-file="$WORK/munged.log" \
    --seed-file="$WORK/munge/munged.seed" &
DAEMONS+=($!)
for _ in $(seq 50); do [ -S "$SOCKET" ] && break; sleep 0.1; done
[ -S "$SOCKET" ] || fail "munged did not start (see munged.log)"

# --- slurm: private ports, state and spool; proctrack/linuxproc and task/none ----------------
read -r CTLD_PORT SLURMD_PORT < <(python3 -c '
import socket
s = [socket.socket() for _ in range(2)]
for x in s: x.bind(("127.0.0.1", 0))
print(*[x.getsockname()[1] for x in s])')
NODE=$(hostname -s)
CPUS=$(nproc)
mkdir -p "$WORK/state" "$WORK/spool" "$WORK/shards"
export SLURM_CONF="$WORK/slurm.conf"
cat > "$SLURM_CONF" <<CONF
ClusterName=kaitorotest
SlurmctldHost=$NODE(127.0.0.1)
SlurmctldPort=$CTLD_PORT
SlurmdPort=$SLURMD_PORT
SlurmUser=root
SlurmdUser=root
AuthType=auth/munge
AuthInfo=socket=$SOCKET
CredType=cred/munge
StateSaveLocation=$WORK/state
SlurmdSpoolDir=$WORK/spool
SlurmctldPidFile=$WORK/slurmctld.pid
SlurmdPidFile=$WORK/slurmd.pid
SlurmctldLogFile=$WORK/slurmctld.log
SlurmdLogFile=$WORK/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SchedulerType=sched/backfill
MpiDefault=none
ReturnToService=2
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
JobCompType=jobcomp/none
NodeName=$NODE NodeAddr=127.0.0.1 CPUs=$CPUS State=UNKNOWN
PartitionName=batch Nodes=$NODE Default=YES MaxTime=INFINITE State=UP
CONF
slurmctld -D -i -f "$SLURM_CONF" &
DAEMONS+=($!)
slurmd -D -f "$SLURM_CONF" &
DAEMONS+=($!)
for _ in $(seq 100); do
    state=$(sinfo -h -n "$NODE" -o %t 2>/dev/null || true)
    [ "$state" = "idle" ] && break
    sleep 0.2
done
[ "$state" = "idle" ] || fail "the node did not become idle (state '$state'; see slurmctld.log, slurmd.log)"

# --- the table: seven short runs of every source form, and one that fails --------------------
cat > "$WORK/table.csv" <<'CSV'
id,lat,lon,mw,depth_km,strike_deg,dip_deg,rake_deg,length_km,width_km,slip_m,fault,hours,true_speed
m80_sanriku,39.5,143.2,8.0,,,,,,,,,0.25,0
m85_miyagi,38.3,143.0,8.5,,,,,,,,,0.25,0
m78_fukushima,37.2,142.3,7.8,,,,,,,,,0.25,1
m82_ibaraki,36.3,141.9,8.2,25,200,14,90,,,,,0.25,0
rect_nankai,33.0,135.5,,20,250,12,90,150,70,4,,0.25,0
rect_japan_sea,40.2,138.9,,15,15,35,90,80,30,3,,0.25,0
m76_hokkaido,41.8,144.3,7.6,,225,,,,,,,0.25,0
missing_fault,,,,,,,,,,,no_such_fault_table.csv,0.25,0
CSV

cd "$WORK"
timeout 180 "$CLI" batch table.csv --slurm --wait --db slurm.sqlite --grid "$GRID" \
    --shard-dir "$WORK/shards" --array-size 4 --time-limit 10 --partition batch \
    | tee submit.out
grep -q "Merged 4 shard(s) into slurm.sqlite: 8 scenario(s) added" submit.out ||
    fail "the array's shards did not merge into 8 scenarios"
"$CLI" merge --db slurm.sqlite shards | tee merge.out
grep -q ": 0 scenario(s) added, 0 replaced, 8 unchanged" merge.out || fail "merging again changed the database"

"$CLI" batch table.csv --db local.sqlite --grid "$GRID" --jobs 2 2>/dev/null
dump() {
    sqlite3 "$1" \
        "SELECT id,line,params,kind,lat,lon,depth_km,mw,hours,true_speed,status,error,version FROM scenarios ORDER BY id;" \
        "SELECT * FROM station_results ORDER BY scenario_id, station_no;" \
        "SELECT * FROM zone_results ORDER BY scenario_id, zone_id;"
}
dump slurm.sqlite > slurm.dump
dump local.sqlite > local.dump
diff -q slurm.dump local.dump >/dev/null || { diff slurm.dump local.dump | head -20; fail "the Slurm and local databases differ"; }
echo "slurm_cluster_test: $(wc -l < slurm.dump) rows equal between the Slurm array and the local batch"
