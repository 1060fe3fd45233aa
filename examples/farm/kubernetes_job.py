#!/usr/bin/env python3
"""Writes the indexed Job that renders a plan's parts on a Kubernetes cluster, or the Job that merges them, as JSON for
kubectl. Each part is one index, in a container of its own; repeated indexes do no harm. The Job is made of the classes of
the client library (Debian: python3-kubernetes), which know what the interface takes.

    kubernetes_job.py show.plan.json --image registry.example/tumblewash:0.1 --claim films | kubectl apply -f -
    kubectl wait --for=condition=complete --timeout=-1s job/show-parts
    kubernetes_job.py show.plan.json --image ... --claim films --merge show.mp4 | kubectl apply -f -
"""
import argparse
import json
import pathlib
import re
import sys

from kubernetes import client

INDEX = "metadata.annotations['batch.kubernetes.io/job-completion-index']"
# The names come as arguments, so that no name needs quotes.
RENDER = 'exec tumblewash render "$1" --part "$((INDEX + $3))" -o "$2/"'
MERGE = 'exec tumblewash merge "$1" "$2" -o "$3" --force'


def fail(words):
    sys.exit("kubernetes_job.py: " + words)


def options():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0], allow_abbrev=False)
    parser.add_argument("plan", help="NAME.plan.json, made by tumblewash plan EDIT --parts N -o NAME.plan.json")
    parser.add_argument("--image", required=True, help="the image of the Containerfile, as the cluster's registry calls it")
    parser.add_argument("--claim", required=True, help="the volume claim that holds plan, clips and parts")
    parser.add_argument("--mount", help="where the claim is mounted, on this machine as in the containers (default: the plan's folder)")
    parser.add_argument("--merge", metavar="MOVIE", help="write the Job that merges the parts into this movie")
    parser.add_argument("--parallelism", type=int, default=20, help="containers at a time (default 20)")
    parser.add_argument("--cpu", default="2", help="processors that a container asks for (default 2)")
    parser.add_argument("--memory", default="2Gi", help="memory that a container asks for (default 2Gi)")
    parser.add_argument("--user", type=int, help="number of the user who owns what is written (default: the image's)")
    parser.add_argument("--namespace")
    return parser.parse_args()


def below(path, mount):
    """The absolute name of a file that the claim holds."""
    path = path.absolute()
    if not path.is_relative_to(mount):
        fail(f"{path}: lies outside of {mount}; give the claim's folder with --mount")
    return str(path)


def name_for(plan, what):
    """A name that the cluster takes: lower-case letters, digits and hyphens."""
    stem = plan.name.removesuffix(".plan.json").lower()
    return (re.sub("[^a-z0-9]+", "-", stem).strip("-")[:40].strip("-") or "movie") + "-" + what


def job(o, name, shell, arguments, completions):
    volume = "films"
    container = client.V1Container(
        name="tumblewash", image=o.image, command=["sh", "-c", shell, "tumblewash"], args=arguments,
        env=[client.V1EnvVar("INDEX", None, client.V1EnvVarSource(field_ref=client.V1ObjectFieldSelector(field_path=INDEX)))],
        resources=client.V1ResourceRequirements(requests={"cpu": o.cpu, "memory": o.memory}),
        volume_mounts=[client.V1VolumeMount(name=volume, mount_path=o.mount)])
    claim = client.V1PersistentVolumeClaimVolumeSource(claim_name=o.claim)
    pod = client.V1PodSpec(
        containers=[container], restart_policy="Never", automount_service_account_token=False,
        security_context=client.V1PodSecurityContext(run_as_user=o.user) if o.user is not None else None,
        volumes=[client.V1Volume(name=volume, persistent_volume_claim=claim)])
    template = client.V1PodTemplateSpec(client.V1ObjectMeta(labels={"app.kubernetes.io/name": "tumblewash"}), pod)
    indexed = client.V1JobSpec(completion_mode="Indexed", completions=completions, parallelism=min(o.parallelism, completions),
                               backoff_limit=6 + completions, template=template)
    return client.V1Job("batch/v1", "Job", client.V1ObjectMeta(name=name, namespace=o.namespace), indexed)


def main():
    o = options()
    plan = pathlib.Path(o.plan)
    if not plan.name.endswith(".plan.json"):
        fail(f"{plan}: is not a plan; make one with tumblewash plan EDIT --parts N -o NAME.plan.json")
    try:
        document = json.loads(plan.read_text())
        parts, sound = len(document["parts"]), document["movie"]["sound"]
    except OSError as problem:
        fail(f"{plan}: {problem.strerror}")
    except (ValueError, KeyError, TypeError):
        fail(f"{plan}: is not a plan; make one with tumblewash plan EDIT --parts N -o NAME.plan.json")
    if o.parallelism < 1:
        fail("--parallelism: use 1 or more")
    o.mount = str(pathlib.Path(o.mount).absolute() if o.mount else plan.absolute().parent)
    folder = below(plan.with_name(plan.name.removesuffix(".plan.json") + ".parts"), o.mount)
    names = [below(plan, o.mount), folder]
    if o.merge:
        made = job(o, name_for(plan, "merge"), MERGE, [*names, below(pathlib.Path(o.merge), o.mount)], 1)
    else:
        # Part 0 is the sound, where there is any.
        made = job(o, name_for(plan, "parts"), RENDER, [*names, "0" if sound else "1"], parts + (1 if sound else 0))
    print(json.dumps(client.ApiClient().sanitize_for_serialization(made), indent=2))


if __name__ == "__main__":
    main()
